#include "ProcessTable.h"

#include <sys/proc.h>
#include <sys/sysctl.h>
#include <sys/types.h>

namespace ostrelvan::ProcessTable {

std::optional<ProcessInfo> info(std::int32_t pid) {
    if (pid < 1) {
        return std::nullopt;
    }
    int mib[4] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
    struct kinfo_proc record {};
    size_t size = sizeof record;
    if (::sysctl(mib, 4, &record, &size, nullptr, 0) != 0 || size < 1 ||
        record.kp_proc.p_pid != pid) {
        return std::nullopt;
    }
    const struct timeval start = record.kp_proc.p_starttime;
    ProcessInfo result;
    result.pid = pid;
    result.parent = record.kp_eproc.e_ppid;
    result.startedAt = TimePoint(std::chrono::seconds(start.tv_sec)) +
                       std::chrono::milliseconds(start.tv_usec / 1000);
    result.zombie = record.kp_proc.p_stat == SZOMB;
    return result;
}

} // namespace ostrelvan::ProcessTable

namespace ostrelvan::ProcessTable {

std::optional<Environment> environment(std::int32_t) {
    return std::nullopt;
}

} // namespace ostrelvan::ProcessTable
