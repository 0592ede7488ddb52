#include "base/ProcessTable.h"

#include <cerrno>
#include <csignal>

namespace ostrelvan::ProcessTable {

bool exists(std::int32_t pid) {
    // EPERM: the process belongs to another user, and is alive too.
    return pid >= 1 && (::kill(pid, 0) == 0 || errno == EPERM);
}

bool isAlive(std::int32_t pid) {
    if (!exists(pid)) {
        return false;
    }
    const auto process = info(pid);
    return !(process && process->zombie);
}

} // namespace ostrelvan::ProcessTable
