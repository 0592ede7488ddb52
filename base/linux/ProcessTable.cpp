#include "base/ProcessTable.h"

#include "base/FileDescriptor.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <limits>
#include <string_view>
#include <unistd.h>

namespace ostrelvan::ProcessTable {

namespace {

// /proc/stat's btime: the boot time in seconds since the epoch; it never changes while we run.
std::optional<long long> bootTime() {
    static const std::optional<long long> cached = []() -> std::optional<long long> {
        std::ifstream stat("/proc/stat");
        std::string key;
        while (stat >> key) {
            if (key == "btime") {
                long long value = 0;
                if (stat >> value) {
                    return value;
                }
                return std::nullopt;
            }
            stat.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        }
        return std::nullopt;
    }();
    return cached;
}

template <class T> bool parseNumber(std::string_view text, T& out) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
    return error == std::errc() && end == text.data() + text.size();
}

// The fields of /proc/<pid>/stat that are read here, as views into the record's text.
struct StatRecord {
    char text[4096]; // 52 numbers and a 16-byte name at most
    std::string_view name, state, parent, startTicks;

    bool isZombie() const { return state == "Z" || state == "X"; }
};

// "pid (comm) state ppid ...": comm may hold spaces and parentheses, so it ends at the last ')'.
// Fields 3 (state), 4 (parent) and 22 (start time), counted from 1, are split out; the fields
// after them are left unsplit.
bool readStat(std::int32_t pid, StatRecord& record) {
    if (pid < 1) {
        return false;
    }
    char path[32] = "/proc/";
    char* const digitsEnd = std::to_chars(path + 6, path + sizeof path - 6, pid).ptr;
    std::memcpy(digitsEnd, "/stat", 6);
    const FileDescriptor fd(::open(path, O_RDONLY | O_CLOEXEC));
    if (!fd.isOpen()) {
        return false;
    }
    const ssize_t n = ::read(fd.get(), record.text, sizeof record.text);
    if (n <= 0) {
        return false;
    }
    const std::string_view line(record.text, static_cast<std::size_t>(n));
    const std::size_t open = line.find('(');
    const std::size_t close = line.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return false;
    }
    record.name = line.substr(open + 1, close - open - 1);
    constexpr std::size_t stateField = 3, parentField = 4, startField = 22;
    std::string_view rest = line.substr(close + 1);
    for (std::size_t number = stateField; number <= startField; ++number) {
        const std::size_t start = rest.find_first_not_of(" \n");
        if (start == std::string_view::npos) {
            return false;
        }
        rest.remove_prefix(start);
        const std::size_t end = std::min(rest.find_first_of(" \n"), rest.size());
        const std::string_view field = rest.substr(0, end);
        rest.remove_prefix(end);
        if (number == stateField) {
            record.state = field;
        } else if (number == parentField) {
            record.parent = field;
        } else if (number == startField) {
            record.startTicks = field;
        }
    }
    return true;
}

} // namespace

std::optional<ProcessInfo> info(std::int32_t pid) {
    StatRecord record;
    if (!readStat(pid, record)) {
        return std::nullopt;
    }
    ProcessInfo result;
    result.pid = pid;
    result.zombie = record.isZombie();
    unsigned long long ticks = 0;
    static const long ticksPerSecond = ::sysconf(_SC_CLK_TCK);
    const auto boot = bootTime();
    if (!parseNumber(record.parent, result.parent) || !parseNumber(record.startTicks, ticks) ||
        ticksPerSecond <= 0 || !boot) {
        return std::nullopt;
    }
    const auto sinceBoot = std::chrono::milliseconds(
        static_cast<long long>(ticks * 1000 / static_cast<unsigned long long>(ticksPerSecond)));
    result.startedAt = std::chrono::sys_seconds(std::chrono::seconds(*boot)) + sinceBoot;
    return result;
}

std::optional<ProcessEntry> entry(std::int32_t pid) {
    StatRecord record;
    ProcessEntry result;
    if (!readStat(pid, record) || record.isZombie() || !parseNumber(record.parent, result.parent)) {
        return std::nullopt;
    }
    result.name = record.name;
    return result;
}

} // namespace ostrelvan::ProcessTable

namespace ostrelvan::ProcessTable {

std::optional<ProcessEnvironment> environment(std::int32_t pid) {
    if (pid < 1) {
        return std::nullopt;
    }
    std::ifstream file("/proc/" + std::to_string(pid) + "/environ", std::ios::binary);
    if (!file.is_open()) {
        return std::nullopt;
    }
    const std::string block((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    ProcessEnvironment result;
    std::string_view rest = block;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\0'), rest.size());
        const std::string_view entry = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const std::size_t equals = entry.find('=');
        if (equals != std::string_view::npos) {
            result.emplace(std::string(entry.substr(0, equals)),
                           std::string(entry.substr(equals + 1)));
        }
    }
    return result;
}

} // namespace ostrelvan::ProcessTable
