#include "base/ProcessHandle.h"

#include <poll.h>
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

bool ProcessHandle::hasExited() const {
    if (!fd_.isOpen()) {
        return true;
    }
    // A pidfd turns readable when its process exits.
    struct pollfd entry {
        fd_.get(), POLLIN, 0
    };
    return ::poll(&entry, 1, 0) != 0;
}

} // namespace ostrelvan
