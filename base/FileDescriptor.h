#pragma once

#include <unistd.h>
#include <utility>

namespace ostrelvan {

// Owns one POSIX descriptor and closes it on every path out; -1 owns nothing.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) noexcept : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = other.release();
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return fd_; }
    bool isOpen() const { return fd_ >= 0; }
    // Hands the descriptor over, e.g. to close it and see close's own error.
    int release() { return std::exchange(fd_, -1); }
    void reset() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_;
};

} // namespace ostrelvan
