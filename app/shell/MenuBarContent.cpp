#include "app/shell/MenuBarContent.h"

#include <algorithm>

namespace ostrelvan::MenuBarContent {

namespace {

MenuEntry button(std::string text, MenuCommand command, std::string shortcut = {}) {
    return {
        MenuEntry::Kind::button, std::move(text), command, true, false, std::move(shortcut), {}};
}

MenuEntry text(std::string text) {
    return {MenuEntry::Kind::text, std::move(text), MenuCommand::none, false, false, {}, {}};
}

MenuEntry toggle(std::string text, MenuCommand command, bool checked) {
    return {MenuEntry::Kind::toggle, std::move(text), command, true, checked, {}, {}};
}

MenuEntry divider() {
    return {};
}

// A menu as wide as a long command would cover the screen.
constexpr std::size_t longestAsked = 60;

std::string shortened(const std::string& text, std::size_t characters) {
    std::size_t seen = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80)
            continue;
        if (seen++ == characters)
            return text.substr(0, i) + "…";
    }
    return text;
}

MenuEntry answer(std::string text, MenuCommand command, const PendingRequest& request) {
    MenuEntry entry = button(std::move(text), command);
    entry.requestId = request.requestId;
    return entry;
}

} // namespace

std::vector<MenuEntry> entries(const MenuBarState& state) {
    std::vector<MenuEntry> menu;
    for (const PendingRequest& request : state.requests) {
        const std::string asked = request.summary.empty() ? request.toolName : request.summary;
        menu.push_back(text(request.project + " · " + shortened(asked, longestAsked)));
        menu.push_back(answer("Allow", MenuCommand::allowRequest, request));
        if (request.canAddRule)
            menu.push_back(answer("Always Allow", MenuCommand::allowRequestAndAddRule, request));
        menu.push_back(answer("Deny", MenuCommand::denyRequest, request));
        menu.push_back(divider());
    }
    if (state.hooksConnected) {
        menu.push_back(text("Connected to Claude Code"));
        menu.push_back(button("Disconnect", MenuCommand::disconnect));
    } else {
        menu.push_back(button("Connect to Claude Code", MenuCommand::connect));
    }
    if (state.hookError) {
        menu.push_back(text(*state.hookError));
    }
    menu.push_back(divider());
    menu.push_back(toggle("Sounds", MenuCommand::toggleSounds, state.soundsEnabled));
    menu.push_back(
        toggle("Launch at Login", MenuCommand::toggleLaunchAtLogin, state.launchAtLogin));
    menu.push_back(divider());
    menu.push_back(button("Settings…", MenuCommand::openSettings, "Ctrl+,"));
    menu.push_back(divider());
    menu.push_back(text(std::string(tip)));
    menu.push_back(divider());
    if (state.updaterConfigured) {
        menu.push_back(text(state.versionLine));
        MenuEntry check = button("Check for Updates…", MenuCommand::checkForUpdates);
        check.enabled = state.canCheckNow;
        menu.push_back(check);
        menu.push_back(divider());
    }
    menu.push_back(button("Restart Ostrelvan", MenuCommand::restart));
    menu.push_back(button("Quit Ostrelvan", MenuCommand::quit, "Ctrl+Q"));
    return menu;
}

bool needsAttention(const std::vector<DisplayedSession>& sessions) {
    return std::any_of(sessions.begin(), sessions.end(), [](const DisplayedSession& session) {
        return session.status == SessionStatus::needsApproval ||
               session.status == SessionStatus::awaitingReview;
    });
}

} // namespace ostrelvan::MenuBarContent
