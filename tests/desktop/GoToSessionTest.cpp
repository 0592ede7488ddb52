#include "DesktopScene.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace ostrelvan::test;

// `ostrelvan open` from another terminal on another desktop: the tmux terminal's window comes
// forward on its own desktop, its client shows the agent's session, window and pane.
TEST(GoToSession, OpenBringsTheTerminalAndSelectsTheTmuxPane) {
    if (!XSession::available())
        GTEST_SKIP() << "Xvfb is not installed";
    TerminalScene scene;
    ASSERT_EQ(scene.x.currentDesktop(), 1u);
    const Path data = scene.x.scratch() / "data", claude = scene.x.scratch() / "claude";
    scene.writeSession(data, claude, "5e551on-a1b2");
    const Variables environment = scene.x.environment({{"OSTRELVAN_DATA_DIR", data},
                                                       {"CLAUDE_CONFIG_DIR", claude},
                                                       {"XDG_CONFIG_HOME", scene.x.scratch()}});
    const auto ostrelvan = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OSTRELVAN_EXECUTABLE);
        return run(arguments, environment);
    };
    ASSERT_NE(ostrelvan({"status"}).out.find("Awaiting review"), std::string::npos);

    const Outcome opened = ostrelvan({"open", "5e5"});
    EXPECT_EQ(opened.code, 0) << opened.err;
    EXPECT_TRUE(eventually([&] { return scene.x.activePid() == scene.tmuxTerminal->pid(); }))
        << "active window of pid " << scene.x.activePid().value_or(0) << ", wanted "
        << scene.tmuxTerminal->pid();
    EXPECT_EQ(scene.x.currentDesktop(), 0u);
    EXPECT_EQ(scene.tmux({"list-clients", "-F", "#{session_name}"}), "work\n");
    EXPECT_EQ(scene.tmux({"display-message", "-p", "-t", "work", "#{window_name} #{pane_id}"}),
              "agent " + scene.agentPane + "\n");
    // Opened as from the widget: acknowledged, so no longer awaiting review.
    EXPECT_NE(ostrelvan({"status"}).out.find("Idle"), std::string::npos);
}
