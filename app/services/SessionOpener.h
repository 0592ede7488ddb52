#pragma once

#include "core/SessionState.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan::SessionOpener {

inline constexpr std::string_view vscodeBundleId = "com.microsoft.VSCode";
inline constexpr std::string_view ghosttyBundleId = "com.mitchellh.ghostty";
// Lets VS Code bring up the project's window before the session link arrives, so that the link
// lands in that window rather than in whichever one was in front.
inline constexpr std::chrono::milliseconds sessionLinkDelay{400};

enum class ActionKind {
    openVSCodeSession,  // the Claude Code extension's own panel for the session
    openVSCodeTerminal, // a command-line session in VS Code's integrated terminal
    activateApplication,
    revealInFinder,
};

// What opening a session does; `bundleId` only for activateApplication.
struct Action {
    ActionKind kind = ActionKind::revealInFinder;
    std::string bundleId;

    bool operator==(const Action&) const = default;
};

Action action(const SessionState& session, bool vscodeInstalled);

// The application of a terminal known by the TERM_PROGRAM name the hook helper recorded; names
// are compared exactly.
std::optional<std::string> terminalBundleId(const std::optional<std::string>& terminalApp);

// vscode://anthropic.claude-code/open?session=<id>, the id percent-encoded as a query value.
std::string sessionURL(std::string_view sessionId);

} // namespace ostrelvan::SessionOpener
