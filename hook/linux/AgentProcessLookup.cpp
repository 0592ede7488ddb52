#include "AgentProcess.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace ostrelvan::AgentProcess {

// /proc/<pid>/stat: "pid (comm) state ppid ..."; comm may itself hold ")" and blanks.
std::optional<Entry> lookup(std::int32_t pid) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    char buffer[512];
    ssize_t n = ::read(fd, buffer, sizeof buffer - 1);
    ::close(fd);
    if (n <= 0)
        return std::nullopt;
    buffer[n] = '\0';
    char* open = std::strchr(buffer, '(');
    char* close = std::strrchr(buffer, ')');
    if (!open || !close || close < open)
        return std::nullopt;
    char state = 0;
    int parent = 0;
    if (std::sscanf(close + 1, " %c %d", &state, &parent) != 2 || state == 'Z' || state == 'X')
        return std::nullopt;
    Entry entry;
    std::size_t length = std::min<std::size_t>(close - open - 1, sizeof entry.name - 1);
    std::memcpy(entry.name, open + 1, length);
    entry.parent = parent;
    return entry;
}

} // namespace ostrelvan::AgentProcess
