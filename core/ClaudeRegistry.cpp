#include "ClaudeRegistry.h"

#include "FileSystem.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace ostrelvan::ClaudeRegistry {

namespace {

using nlohmann::json;

constexpr std::size_t maxSessionIdLength = 128;
// The range of a JavaScript date, which is what Claude Code writes.
constexpr double maxEpochMilliseconds = 8.64e15;

bool isAsciiAlnum(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Length of the well-formed UTF-8 sequence at text[i], and its code point; 0 when malformed.
std::size_t utf8Sequence(std::string_view text, std::size_t i, char32_t& codePoint) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    std::size_t length = 0;
    char32_t min = 0;
    if (lead < 0x80) {
        codePoint = lead;
        return 1;
    }
    if ((lead & 0xE0) == 0xC0) {
        length = 2, codePoint = lead & 0x1F, min = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, codePoint = lead & 0x0F, min = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, codePoint = lead & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (i + length > text.size()) {
        return 0;
    }
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xC0) != 0x80) {
            return 0;
        }
        codePoint = (codePoint << 6) | (byte(i + k) & 0x3F);
    }
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (codePoint < min || codePoint > 0x10FFFF || surrogate) {
        return 0;
    }
    return length;
}

bool isValidUtf8(std::string_view text) {
    char32_t codePoint = 0;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = utf8Sequence(text, i, codePoint);
        if (length == 0) {
            return false;
        }
        i += length;
    }
    return true;
}

bool isWhitespaceOrNewline(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

// Trims white space and line breaks, Unicode ones included, from both ends of valid UTF-8.
std::string_view trim(std::string_view text) {
    char32_t codePoint = 0;
    while (!text.empty()) {
        const std::size_t length = utf8Sequence(text, 0, codePoint);
        if (length == 0 || !isWhitespaceOrNewline(codePoint)) {
            break;
        }
        text.remove_prefix(length);
    }
    while (!text.empty()) {
        std::size_t start = text.size() - 1;
        while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) {
            --start;
        }
        const std::size_t length = utf8Sequence(text, start, codePoint);
        if (length != text.size() - start || !isWhitespaceOrNewline(codePoint)) {
            break;
        }
        text.remove_suffix(length);
    }
    return text;
}

std::optional<std::string> clean(const json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_string()) {
        return std::nullopt;
    }
    const std::string_view trimmed = trim(it->get_ref<const std::string&>());
    if (trimmed.empty()) {
        return std::nullopt;
    }
    return std::string(trimmed);
}

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

bool validSessionId(std::string_view id) {
    if (id.empty() || id.size() > maxSessionIdLength) {
        return false;
    }
    return std::all_of(id.begin(), id.end(), [](char c) {
        return isAsciiAlnum(static_cast<unsigned char>(c)) || c == '-' || c == '_';
    });
}

} // namespace

std::filesystem::path configDirectory(const std::filesystem::path& home,
                                      const Environment& environment) {
    if (auto dir = nonEmpty(environment, "CLAUDE_CONFIG_DIR")) {
        return std::filesystem::path(*dir);
    }
    return home / ".claude";
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
    if (!validSessionId(process.sessionId) || process.pid <= 0 || process.cwd.empty()) {
        return std::nullopt;
    }
    return process;
}

std::string projectSlug(std::string_view cwd) {
    std::string slug;
    slug.reserve(cwd.size());
    char32_t codePoint = 0;
    for (std::size_t i = 0; i < cwd.size();) {
        const auto c = static_cast<unsigned char>(cwd[i]);
        if (isAsciiAlnum(c)) {
            slug += static_cast<char>(c);
            ++i;
            continue;
        }
        const std::size_t length = utf8Sequence(cwd, i, codePoint);
        // Claude Code replaces UTF-16 units: a character beyond the BMP is two of them.
        slug += (length == 4) ? "--" : "-";
        i += std::max<std::size_t>(length, 1);
    }
    return slug;
}

std::filesystem::path transcriptURL(const std::filesystem::path& config, std::string_view cwd,
                                    std::string_view sessionId) {
    return config / "projects" / projectSlug(cwd) / (std::string(sessionId) + ".jsonl");
}

std::optional<std::string> title(std::string_view transcriptTail) {
    std::optional<std::string> custom;
    std::optional<std::string> generated;
    std::size_t start = 0;
    while (start < transcriptTail.size()) {
        std::size_t end = transcriptTail.find('\n', start);
        if (end == std::string_view::npos) {
            end = transcriptTail.size();
        }
        const std::string_view line = transcriptTail.substr(start, end - start);
        start = end + 1;
        if (line.empty() || line.size() > maxTitleLineBytes ||
            line.find("-title\"") == std::string_view::npos || !isValidUtf8(line)) {
            continue;
        }
        const json object = json::parse(line, nullptr, false);
        if (object.is_discarded() || !object.is_object() || object.empty()) {
            continue;
        }
        const auto type = object.find("type");
        if (type == object.end() || !type->is_string()) {
            continue;
        }
        if (*type == "custom-title") {
            if (auto text = clean(object, "customTitle")) {
                custom = std::move(text);
            }
        } else if (*type == "ai-title") {
            if (auto text = clean(object, "aiTitle")) {
                generated = std::move(text);
            }
        }
    }
    return custom ? custom : generated;
}

} // namespace ostrelvan::ClaudeRegistry
