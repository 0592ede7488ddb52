#include "core/ApprovalDetail.h"

#include <array>

namespace ostrelvan::ApprovalDetail {

namespace {

std::string_view trimmed(std::string_view text) {
    auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

// Characters are counted as UTF-8 code points; a byte that is not a continuation byte starts one.
std::string shortened(std::string_view line) {
    std::size_t count = 0;
    std::size_t cut = line.size();
    for (std::size_t i = 0; i < line.size(); ++i) {
        if ((static_cast<unsigned char>(line[i]) & 0xC0) == 0x80)
            continue;
        if (count == maxLength - 1)
            cut = i;
        if (++count > maxLength)
            return std::string(line.substr(0, cut)) + "\u2026";
    }
    return std::string(line);
}

std::string_view lastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    auto slash = path.rfind('/');
    if (slash == std::string_view::npos || path.size() == 1)
        return path;
    return path.substr(slash + 1);
}

bool isHostCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-._~!$&'()*+,;=%[]:").find(c) != std::string_view::npos;
}

// The host of an absolute URL "scheme://[userinfo@]host[:port]/...", or absent.
std::optional<std::string> host(std::string_view url) {
    for (char c : url)
        if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7F ||
            std::string_view("\"<>\\^`{|}").find(c) != std::string_view::npos)
            return std::nullopt;
    auto colon = url.find(':');
    if (colon == 0 || colon == std::string_view::npos)
        return std::nullopt;
    for (std::size_t i = 0; i < colon; ++i) {
        char c = url[i];
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                  (i > 0 && ((c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'));
        if (!ok)
            return std::nullopt;
    }
    std::string_view rest = url.substr(colon + 1);
    if (!rest.starts_with("//"))
        return std::nullopt;
    rest.remove_prefix(2);
    std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
    if (auto at = authority.rfind('@'); at != std::string_view::npos)
        authority.remove_prefix(at + 1);
    std::string_view name = authority;
    if (name.starts_with('[')) {
        auto close = name.find(']');
        if (close == std::string_view::npos)
            return std::nullopt;
        name = name.substr(0, close + 1);
    } else if (auto port = name.rfind(':'); port != std::string_view::npos) {
        name = name.substr(0, port);
    }
    if (name.empty())
        return std::nullopt;
    for (char c : name)
        if (!isHostCharacter(c))
            return std::nullopt;
    return std::string(name);
}

} // namespace

std::string firstLine(std::string_view text) {
    while (!text.empty()) {
        auto feed = text.find('\n');
        std::string_view piece = text.substr(0, feed);
        if (!piece.empty() || feed == std::string_view::npos)
            return std::string(trimmed(piece));
        text.remove_prefix(feed + 1);
    }
    return {};
}

std::string signature(const HookEvent& event) {
    std::string result = event.toolName.value_or("");
    result += '|';
    if (event.command)
        result += *event.command;
    else if (event.filePath)
        result += *event.filePath;
    else if (event.url)
        result += *event.url;
    return result;
}

std::optional<std::string> describe(const HookEvent& event) {
    if (!event.toolName)
        return std::nullopt;
    const std::string& tool = *event.toolName;
    if (tool == "Bash") {
        if (!event.command)
            return std::nullopt;
        return shortened(firstLine(*event.command));
    }
    static constexpr std::array fileTools{"Edit", "Write", "MultiEdit", "NotebookEdit", "Read"};
    for (const char* name : fileTools)
        if (tool == name) {
            if (!event.filePath)
                return std::nullopt;
            return std::string(lastPathComponent(*event.filePath));
        }
    if (tool == "WebFetch")
        return event.url ? host(*event.url) : std::nullopt;
    if (tool.starts_with("mcp__")) {
        // Split left to right, as "a___b" splits into "a" and "_b".
        std::size_t start = 0;
        for (auto at = tool.find("__"); at != std::string::npos; at = tool.find("__", start))
            start = at + 2;
        return tool.substr(start);
    }
    return std::nullopt;
}

} // namespace ostrelvan::ApprovalDetail
