#include "base/ProcessTable.h"

#include <sys/proc.h>
#include <sys/sysctl.h>
#include <sys/types.h>

namespace ostrelvan::ProcessTable {

namespace {

bool readRecord(std::int32_t pid, struct kinfo_proc& record) {
    int mib[4] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
    size_t size = sizeof record;
    return pid >= 1 && ::sysctl(mib, 4, &record, &size, nullptr, 0) == 0 && size >= 1 &&
           record.kp_proc.p_pid == pid;
}

} // namespace

std::optional<ProcessInfo> info(std::int32_t pid) {
    struct kinfo_proc record {};
    if (!readRecord(pid, record)) {
        return std::nullopt;
    }
    const struct timeval start = record.kp_proc.p_starttime;
    ProcessInfo result;
    result.pid = pid;
    result.parent = record.kp_eproc.e_ppid;
    result.startedAt = std::chrono::sys_seconds(std::chrono::seconds(start.tv_sec)) +
                       std::chrono::milliseconds(start.tv_usec / 1000);
    result.zombie = record.kp_proc.p_stat == SZOMB;
    return result;
}

std::optional<ProcessEntry> entry(std::int32_t pid) {
    struct kinfo_proc record {};
    if (!readRecord(pid, record) || record.kp_proc.p_stat == SZOMB) {
        return std::nullopt;
    }
    return ProcessEntry{record.kp_proc.p_comm, record.kp_eproc.e_ppid};
}

} // namespace ostrelvan::ProcessTable

namespace ostrelvan::ProcessTable {

std::optional<ProcessEnvironment> environment(std::int32_t) {
    return std::nullopt;
}

} // namespace ostrelvan::ProcessTable
