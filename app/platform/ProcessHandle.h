#pragma once

#include <cstdint>

namespace ostrelvan {

// A reference to one process that stays with it when its pid is reused (a pidfd on Linux).
// Invalid where the system has none (macOS) or the process is gone.
class ProcessHandle {
public:
    ProcessHandle() = default;
    static ProcessHandle open(std::int32_t pid);

    ProcessHandle(ProcessHandle&& other) noexcept;
    ProcessHandle& operator=(ProcessHandle&& other) noexcept;
    ProcessHandle(const ProcessHandle&) = delete;
    ProcessHandle& operator=(const ProcessHandle&) = delete;
    ~ProcessHandle();

    bool isValid() const { return fd_ >= 0; }
    // The process has exited, a zombie included; an invalid handle knows nothing else.
    bool hasExited() const;

private:
    explicit ProcessHandle(int fd) : fd_(fd) {}
    int fd_ = -1;
};

} // namespace ostrelvan
