#include "app/discovery/Transcript.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace ostrelvan::Transcript {

namespace {

using nlohmann::json;

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

} // namespace

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

std::filesystem::path url(const std::filesystem::path& config, std::string_view cwd,
                          std::string_view sessionId) {
    return config / "projects" / projectSlug(cwd) / (std::string(sessionId) + ".jsonl");
}

std::optional<std::string> title(std::string_view lines) {
    std::optional<std::string> custom;
    std::optional<std::string> generated;
    std::size_t start = 0;
    while (start < lines.size()) {
        std::size_t end = lines.find('\n', start);
        if (end == std::string_view::npos) {
            end = lines.size();
        }
        const std::string_view line = lines.substr(start, end - start);
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

} // namespace ostrelvan::Transcript
