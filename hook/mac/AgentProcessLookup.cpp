#include "AgentProcess.h"

#include <cstring>
#include <sys/proc.h>
#include <sys/sysctl.h>

namespace ostrelvan::AgentProcess {

std::optional<Entry> lookup(std::int32_t pid) {
    int mib[4] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
    struct kinfo_proc info {};
    size_t size = sizeof info;
    if (sysctl(mib, 4, &info, &size, nullptr, 0) != 0 || size == 0 || info.kp_proc.p_stat == SZOMB)
        return std::nullopt;
    Entry entry;
    std::strncpy(entry.name, info.kp_proc.p_comm, sizeof entry.name - 1);
    entry.parent = info.kp_eproc.e_ppid;
    return entry;
}

} // namespace ostrelvan::AgentProcess
