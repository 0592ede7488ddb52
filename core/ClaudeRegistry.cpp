#include "core/ClaudeRegistry.h"

#include "base/FileSystem.h"
#include "core/SessionFileStore.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace ostrelvan::ClaudeRegistry {

namespace {

using nlohmann::json;

// The range of a JavaScript date, which is what Claude Code writes.
constexpr double maxEpochMilliseconds = 8.64e15;

// A present value of the wrong type fails the whole record; null counts as absent.
bool optionalString(const json& object, const char* key, std::optional<std::string>& out) {
    const auto it = object.find(key);
    if (it == object.end() || it->is_null()) {
        return true;
    }
    if (!it->is_string()) {
        return false;
    }
    out = it->get<std::string>();
    return true;
}

bool epochMilliseconds(const json& value, TimePoint& out) {
    if (!value.is_number()) {
        return false;
    }
    const double ms = value.get<double>();
    if (!std::isfinite(ms) || std::fabs(ms) > maxEpochMilliseconds) {
        return false;
    }
    out = TimePoint(std::chrono::milliseconds(std::llround(ms)));
    return true;
}

bool optionalTime(const json& object, const char* key, std::optional<TimePoint>& out) {
    const auto it = object.find(key);
    if (it == object.end() || it->is_null()) {
        return true;
    }
    TimePoint time;
    if (!epochMilliseconds(*it, time)) {
        return false;
    }
    out = time;
    return true;
}

} // namespace

std::filesystem::path configDirectory(const std::filesystem::path& home,
                                      const Environment& environment) {
    if (auto dir = nonEmpty(environment, "CLAUDE_CONFIG_DIR")) {
        return std::filesystem::path(*dir);
    }
    return home / ".claude";
}

std::vector<std::filesystem::path> ownFolders(const std::filesystem::path& home,
                                              const Environment& environment) {
    std::vector<std::filesystem::path> folders{home / ".claude"};
    const auto config = configDirectory(home, environment);
    if (config.lexically_normal() != folders.front().lexically_normal())
        folders.push_back(config);
    return folders;
}

std::filesystem::path sessionsDirectory(const std::filesystem::path& config) {
    return config / "sessions";
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
    return FileSystem::readRegularFile(path);
}

std::vector<ClaudeProcess> load(const std::filesystem::path& directory) {
    return load(directory, readFile);
}

std::vector<ClaudeProcess> load(const std::filesystem::path& directory, const FileReader& read) {
    return loadRecords(directory, [&read](const std::filesystem::path& path) {
        const std::optional<std::string> data = read(path);
        return data ? decode(*data) : std::nullopt;
    });
}

std::vector<ClaudeProcess> loadRecords(const std::filesystem::path& directory,
                                       const RecordReader& read) {
    std::vector<ClaudeProcess> result;
    std::error_code error;
    std::filesystem::directory_iterator it(directory, error);
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
        const std::filesystem::path& path = it->path();
        if (path.extension() != ".json") {
            continue;
        }
        std::optional<ClaudeProcess> record = read(path);
        if (!record) {
            record = read(path);
        }
        if (record) {
            result.push_back(std::move(*record));
        }
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const ClaudeProcess& a, const ClaudeProcess& b) { return a.pid < b.pid; });
    return result;
}

std::optional<ClaudeProcess> decode(std::string_view data) {
    const json raw = json::parse(data, nullptr, false);
    if (raw.is_discarded() || !raw.is_object()) {
        return std::nullopt;
    }
    ClaudeProcess process;
    const auto pid = raw.find("pid");
    const auto sessionId = raw.find("sessionId");
    const auto cwd = raw.find("cwd");
    const auto startedAt = raw.find("startedAt");
    if (pid == raw.end() || !pid->is_number_integer() || sessionId == raw.end() ||
        !sessionId->is_string() || cwd == raw.end() || !cwd->is_string() ||
        startedAt == raw.end() || !epochMilliseconds(*startedAt, process.startedAt)) {
        return std::nullopt;
    }
    const auto pidValue = pid->get<std::int64_t>();
    if (pid->is_number_unsigned() && pid->get<std::uint64_t>() > INT32_MAX) {
        return std::nullopt;
    }
    if (pidValue < INT32_MIN || pidValue > INT32_MAX) {
        return std::nullopt;
    }
    if (!optionalString(raw, "kind", process.kind) ||
        !optionalString(raw, "entrypoint", process.entrypoint) ||
        !optionalString(raw, "status", process.status) ||
        !optionalString(raw, "waitingFor", process.waitingFor) ||
        !optionalTime(raw, "updatedAt", process.updatedAt) ||
        !optionalTime(raw, "statusUpdatedAt", process.statusUpdatedAt)) {
        return std::nullopt;
    }
    process.pid = static_cast<std::int32_t>(pidValue);
    process.sessionId = sessionId->get<std::string>();
    process.cwd = cwd->get<std::string>();
    if (!SessionFileStore::isValidSessionId(process.sessionId) || process.pid <= 0 ||
        process.cwd.empty()) {
        return std::nullopt;
    }
    return process;
}

} // namespace ostrelvan::ClaudeRegistry
