#include "app/services/SessionOpener.h"

#include <array>
#include <utility>

namespace ostrelvan::SessionOpener {

namespace {

bool isUnreserved(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

} // namespace

Action action(const SessionState& session, bool vscodeInstalled) {
    if (session.host == SessionHost::vscode)
        return {vscodeInstalled ? ActionKind::openVSCodeSession : ActionKind::revealInFinder, {}};
    if (session.terminalApp == "vscode")
        return {vscodeInstalled ? ActionKind::openVSCodeTerminal : ActionKind::revealInFinder, {}};
    if (auto bundleId = terminalBundleId(session.terminalApp))
        return {ActionKind::activateApplication, std::move(*bundleId)};
    return {ActionKind::revealInFinder, {}};
}

std::optional<std::string> terminalBundleId(const std::optional<std::string>& terminalApp) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 4> terminals{{
        {"Apple_Terminal", "com.apple.Terminal"},
        {"iTerm.app", "com.googlecode.iterm2"},
        {"ghostty", ghosttyBundleId},
        {"WarpTerminal", "dev.warp.Warp-Stable"},
    }};
    if (!terminalApp)
        return std::nullopt;
    for (const auto& [name, bundleId] : terminals)
        if (*terminalApp == name)
            return std::string(bundleId);
    return std::nullopt;
}

std::string sessionURL(std::string_view sessionId) {
    static constexpr std::string_view hex = "0123456789ABCDEF";
    std::string url = "vscode://anthropic.claude-code/open?session=";
    for (const char c : sessionId) {
        if (isUnreserved(c)) {
            url += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            url += '%';
            url += hex[byte >> 4];
            url += hex[byte & 0xF];
        }
    }
    return url;
}

} // namespace ostrelvan::SessionOpener
