#pragma once

#include "app/services/PendingRequest.h"
#include "app/store/DisplayedSession.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrelvan {

// What a menu entry does when chosen.
enum class MenuCommand {
    none,
    connect,
    disconnect,
    toggleSounds,
    toggleLaunchAtLogin,
    openSettings,
    checkForUpdates,
    restart,
    quit,
    // The entry's request.
    allowRequest,
    allowRequestAndAddRule,
    denyRequest,
};

// One line of the tray / menu-bar menu. Text lines are shown and cannot be chosen.
struct MenuEntry {
    enum class Kind { button, text, toggle, divider };

    Kind kind = Kind::divider;
    std::string text;
    MenuCommand command = MenuCommand::none;
    bool enabled = true;
    bool checked = false;  // toggles only
    std::string shortcut;  // portable key text: "Ctrl" is Command on macOS
    std::string requestId; // the request an answer entry answers

    bool operator==(const MenuEntry&) const = default;
};

// What the menu shows of the application's state.
struct MenuBarState {
    bool hooksConnected = false;
    std::optional<std::string> hookError;
    bool soundsEnabled = true;
    bool launchAtLogin = false;
    bool updaterConfigured = false;
    std::string versionLine;
    bool canCheckNow = false;
    // The permission requests the app can answer, oldest first.
    std::vector<PendingRequest> requests;

    bool operator==(const MenuBarState&) const = default;
};

// The menu's entries, top to bottom, drawn fresh from the state: the menu holds nothing itself.
namespace MenuBarContent {

inline constexpr std::string_view tip = "Tip: the first click asks VS Code to allow the Claude "
                                        "link once. Tick \"Do not ask me again\".";

// Each waiting permission request first (its project and what it asks, then its answers), then
// the rest. The version line and "Check for Updates…" only where an updater is configured. The
// one list of the app's menu: the tray's, the menu bar's and the widget's show these, in this
// order.
std::vector<MenuEntry> entries(const MenuBarState& state);

// Some session needs approval or waits for review: the tray icon shows a dot.
bool needsAttention(const std::vector<DisplayedSession>& sessions);

} // namespace MenuBarContent

} // namespace ostrelvan
