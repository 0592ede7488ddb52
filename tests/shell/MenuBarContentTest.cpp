#include "app/shell/MenuBarContent.h"

#include "app/shell/LaunchMode.h"

#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

// One line per entry: "-" for a divider, "[x] " or "[ ] " for a toggle, "(text) " for a line
// that cannot be chosen, the shortcut after a tab.
std::string describe(const std::vector<MenuEntry>& entries) {
    std::string text;
    for (const auto& entry : entries) {
        switch (entry.kind) {
        case MenuEntry::Kind::divider:
            text += "-\n";
            continue;
        case MenuEntry::Kind::toggle:
            text += entry.checked ? "[x] " : "[ ] ";
            break;
        case MenuEntry::Kind::text:
            text += "(text) ";
            break;
        case MenuEntry::Kind::button:
            break;
        }
        text += entry.text;
        if (!entry.enabled && entry.kind != MenuEntry::Kind::text) {
            text += " (disabled)";
        }
        if (!entry.shortcut.empty()) {
            text += "\t" + entry.shortcut;
        }
        text += "\n";
    }
    return text;
}

const std::string tail = "-\n"
                         "Settings…\tCtrl+,\n"
                         "-\n"
                         "(text) Tip: the first click asks VS Code to allow the Claude link once. "
                         "Tick \"Do not ask me again\".\n"
                         "-\n";

TEST(MenuBarContent, NotConnectedOffersConnectAndAnyError) {
    MenuBarState state;
    state.hookError = "The settings file is not valid JSON.";
    EXPECT_EQ(describe(MenuBarContent::entries(state)),
              "Connect to Claude Code\n"
              "(text) The settings file is not valid JSON.\n"
              "-\n"
              "[x] Sounds\n"
              "[ ] Launch at Login\n" +
                  tail +
                  "Restart Ostrelvan\n"
                  "Quit Ostrelvan\tCtrl+Q\n");
}

TEST(MenuBarContent, ConnectedOffersDisconnectAndTheUpdaterWhenConfigured) {
    MenuBarState state{true, std::nullopt, false, true, true, "Version 1.4 (37)", false, {}};
    EXPECT_EQ(describe(MenuBarContent::entries(state)), "(text) Connected to Claude Code\n"
                                                        "Disconnect\n"
                                                        "-\n"
                                                        "[ ] Sounds\n"
                                                        "[x] Launch at Login\n" +
                                                            tail +
                                                            "(text) Version 1.4 (37)\n"
                                                            "Check for Updates… (disabled)\n"
                                                            "-\n"
                                                            "Restart Ostrelvan\n"
                                                            "Quit Ostrelvan\tCtrl+Q\n");
    state.canCheckNow = true;
    EXPECT_TRUE(MenuBarContent::entries(state)[11].enabled);
    EXPECT_EQ(MenuBarContent::entries(state)[11].command, MenuCommand::checkForUpdates);
}

TEST(MenuBarContent, AttentionMeansApprovalOrReview) {
    std::vector<DisplayedSession> sessions(2);
    sessions[0].status = SessionStatus::working;
    EXPECT_FALSE(MenuBarContent::needsAttention(sessions));
    for (auto status : {SessionStatus::needsApproval, SessionStatus::awaitingReview}) {
        sessions[1].status = status;
        EXPECT_TRUE(MenuBarContent::needsAttention(sessions));
    }
}

TEST(LaunchMode, FromArgumentsAndEnvironment) {
    using Kind = LaunchMode::Kind;
    EXPECT_EQ(LaunchMode::current({"/usr/bin/ostrelvan-desktop"}, {}),
              (LaunchMode{Kind::normal, ""}));
    EXPECT_EQ(LaunchMode::current({"app", "--design-preview", "Widget"}, {}),
              (LaunchMode{Kind::designPreview, "widget"}));
    EXPECT_EQ(LaunchMode::current({"app", "--design-preview"}, {}),
              (LaunchMode{Kind::designPreview, ""}));
    EXPECT_EQ(LaunchMode::current({"app", "--design-preview", "dark"}, {{"XCTestBundlePath", ""}}),
              (LaunchMode{Kind::tests, ""}));
    EXPECT_EQ(LaunchMode::current({"app"}, {{"XCTestConfigurationFilePath", "/x"}}),
              (LaunchMode{Kind::tests, ""}));
}

} // namespace
} // namespace ostrelvan
