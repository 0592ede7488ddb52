#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace ostrelvan {

// The kernel's record of one process. Implemented per platform (app/platform/linux reads
// /proc/<pid>/stat; app/platform/mac asks sysctl for kinfo_proc).
struct ProcessInfo {
    std::int32_t pid = 0;
    std::int32_t parent = 0;
    std::chrono::sys_time<std::chrono::milliseconds> startedAt;
    bool zombie = false; // exited but not reaped: counts as dead

    bool operator==(const ProcessInfo&) const = default;
};

// What the hook helper's walk up to its agent needs of a process that runs.
struct ProcessEntry {
    std::string name;
    std::int32_t parent = 0;
};

namespace ProcessTable {

// None for pid < 1 or a process that does not exist.
std::optional<ProcessInfo> info(std::int32_t pid);

// The name and parent of a process that exists and is not a zombie; none otherwise. Reads only
// the process's own record (info also needs the boot time).
std::optional<ProcessEntry> entry(std::int32_t pid);

// kill(pid, 0) succeeds or fails with EPERM (a process of another user). A zombie exists.
bool exists(std::int32_t pid);

// exists, and the process is not a zombie (one that exited and was not reaped is dead).
bool isAlive(std::int32_t pid);

// The environment a process was started with (Linux: /proc/<pid>/environ); none when it cannot
// be read (another user's process, or macOS, where nothing asks for it).
using ProcessEnvironment = std::map<std::string, std::string, std::less<>>;
std::optional<ProcessEnvironment> environment(std::int32_t pid);

} // namespace ProcessTable
} // namespace ostrelvan
