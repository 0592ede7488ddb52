#include "ProcessHandle.h"

#include <poll.h>
#include <unistd.h>
#include <utility>
#ifdef __linux__
#include <sys/syscall.h>
#endif

namespace ostrelvan {

ProcessHandle ProcessHandle::open(std::int32_t pid) {
#if defined(__linux__) && defined(SYS_pidfd_open)
    if (pid >= 1) {
        return ProcessHandle(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    }
#else
    (void)pid;
#endif
    return {};
}

ProcessHandle::ProcessHandle(ProcessHandle&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

ProcessHandle& ProcessHandle::operator=(ProcessHandle&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

ProcessHandle::~ProcessHandle() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool ProcessHandle::hasExited() const {
    if (fd_ < 0) {
        return true;
    }
    // A pidfd turns readable when its process exits.
    struct pollfd entry {
        fd_, POLLIN, 0
    };
    return ::poll(&entry, 1, 0) != 0;
}

} // namespace ostrelvan
