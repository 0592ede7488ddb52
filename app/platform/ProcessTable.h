#pragma once

#include "Environment.h"
#include "Time.h"

#include <cstdint>
#include <optional>

namespace ostrelvan {

// The kernel's record of one process. Implemented per platform (app/platform/linux reads
// /proc/<pid>/stat; app/platform/mac asks sysctl for kinfo_proc).
struct ProcessInfo {
    std::int32_t pid = 0;
    std::int32_t parent = 0;
    TimePoint startedAt;
    bool zombie = false; // exited but not reaped: counts as dead

    bool operator==(const ProcessInfo&) const = default;
};

namespace ProcessTable {

// None for pid < 1 or a process that does not exist.
std::optional<ProcessInfo> info(std::int32_t pid);

// kill(pid, 0) succeeds or fails with EPERM (a process of another user). A zombie exists.
bool exists(std::int32_t pid);

// exists, and the process is not a zombie (one that exited and was not reaped is dead).
bool isAlive(std::int32_t pid);

// The environment a process was started with (Linux: /proc/<pid>/environ); none when it cannot
// be read (another user's process, or macOS, where nothing asks for it).
std::optional<Environment> environment(std::int32_t pid);

} // namespace ProcessTable
} // namespace ostrelvan
