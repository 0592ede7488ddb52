#include "app/services/SessionOpener.h"

#include "app/platform/WindowActivation.h"
#include "app/services/TmuxClient.h"
#include "app/services/TmuxPane.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using Kind = SessionOpener::ActionKind;

namespace {

SessionState session(SessionHost host, std::optional<std::string> terminalApp) {
    return SessionState::make("s-1", "/w/app/sub", host, std::move(terminalApp), 42, TimePoint{});
}

} // namespace

TEST(SessionOpener, ActionFollowsHostTerminalAndVSCode) {
    constexpr auto vscode = SessionHost::vscode, terminal = SessionHost::terminal;
    const SessionOpener::Action reveal{Kind::revealInFinder, {}};
    const auto activate = [](const char* bundle) {
        return SessionOpener::Action{Kind::activateApplication, bundle};
    };
    const struct {
        SessionHost host;
        std::optional<std::string> terminalApp;
        bool vscode;
        SessionOpener::Action expected;
    } rows[] = {
        {vscode, std::nullopt, true, {Kind::openVSCodeSession, {}}},
        {vscode, std::nullopt, false, reveal},
        // The host wins over a terminal name the extension's environment may carry.
        {vscode, "iTerm.app", true, {Kind::openVSCodeSession, {}}},
        {terminal, "vscode", true, {Kind::openVSCodeTerminal, {}}},
        {terminal, "vscode", false, reveal},
        {terminal, "iTerm.app", false, activate("com.googlecode.iterm2")},
        {terminal, "iterm.app", true, reveal},
        {terminal, "ghostty", true, activate("com.mitchellh.ghostty")},
        {terminal, "xterm", true, reveal},
        {terminal, std::nullopt, true, reveal},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(toString(row.host)) + " " + row.terminalApp.value_or("none") +
                     (row.vscode ? " with VS Code" : " without VS Code"));
        EXPECT_EQ(SessionOpener::action(session(row.host, row.terminalApp), row.vscode),
                  row.expected);
    }
}

TEST(SessionOpener, SessionLinkEncodesTheIdAsAQueryValue) {
    // A plain id, and the link as a whole, show in the session opening's VS Code case.
    EXPECT_EQ(SessionOpener::sessionURL("a b&c=d/é"),
              "vscode://anthropic.claude-code/open?session=a%20b%26c%3Dd%2F%C3%A9");
}

TEST(TmuxPane, ReadFromTheAgentsEnvironmentOrTheRegistry) {
    EXPECT_EQ(TmuxPane::fromEnvironment(
                  {{"TMUX", "/tmp/tmux-1000/default,4242,0"}, {"TMUX_PANE", "%12"}}),
              (TmuxPane{"/tmp/tmux-1000/default", "%12"}));
    // A socket path may hold commas of its own.
    EXPECT_EQ(TmuxPane::fromEnvironment({{"TMUX", "/tmp/a,b/sock,1,2"}, {"TMUX_PANE", "%0"}}),
              (TmuxPane{"/tmp/a,b/sock", "%0"}));
    for (const Environment& wrong :
         {Environment{{"TMUX", "/tmp/s,1,0"}}, Environment{{"TMUX_PANE", "%1"}},
          Environment{{"TMUX", "/tmp/s,1,0"}, {"TMUX_PANE", "1"}},
          Environment{{"TMUX", "/tmp/s"}, {"TMUX_PANE", "%1"}},
          Environment{{"TMUX", ""}, {"TMUX_PANE", "%1"}}})
        EXPECT_EQ(TmuxPane::fromEnvironment(wrong), std::nullopt);

    EXPECT_EQ(TmuxPane::fromRegistry("my.project:@3.%7"), (TmuxPane{std::nullopt, "%7"}));
    for (const char* wrong : {"", "work", "work:@3", "work:@3.%", "work:@3.%x", "%7"})
        EXPECT_EQ(TmuxPane::fromRegistry(wrong), std::nullopt) << wrong;
}

TEST(TmuxClient, MostRecentlyActiveClientWins) {
    EXPECT_EQ(TmuxClient::mostRecent("1700000100 311 /dev/pts/1\n"
                                     "1700000300 322 /dev/pts/2\n"
                                     "garbage\n"
                                     "1700000200 333 /dev/pts/3\n"),
              (TmuxClient{1700000300, 322, "/dev/pts/2"}));
    EXPECT_EQ(TmuxClient::mostRecent(""), std::nullopt);
    EXPECT_EQ(TmuxClient::mostRecent("1 0 /dev/pts/1\nx 5 /dev/pts/1\n1 5 \n"), std::nullopt);
}

TEST(WindowActivation, NearestProcessWithAWindowThenTopmostOfItsWindows) {
    using W = WindowActivation::ClientWindow;
    // Stacking order, bottom first: 20 owns two windows (one server, many windows).
    const std::vector<W> windows{{0xA, 20}, {0xB, 30}, {0xC, 20}};
    EXPECT_EQ(WindowActivation::choose({10, 20, 30}, windows), 0xCu);
    EXPECT_EQ(WindowActivation::choose({10, 30, 20}, windows), 0xBu);
    EXPECT_EQ(WindowActivation::choose({10, 11}, windows), std::nullopt);
}
