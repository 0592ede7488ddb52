#pragma once

#include "base/FileDescriptor.h"

#include <cstdint>

namespace ostrelvan {

// A reference to one process that stays with it when its pid is reused (a pidfd on Linux).
// Invalid where the system has none (macOS) or the process is gone.
class ProcessHandle {
public:
    ProcessHandle() = default;
    static ProcessHandle open(std::int32_t pid);

    bool isValid() const { return fd_.isOpen(); }
    // The process has exited, a zombie included; an invalid handle knows nothing else.
    bool hasExited() const;

private:
    explicit ProcessHandle(int fd) : fd_(fd) {}
    FileDescriptor fd_;
};

} // namespace ostrelvan
