#include "DesktopScene.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

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

// The same jump by a click on the session's row in the real widget: the pointer rests on the
// lamp until the panel opens, then clicks the row.
TEST(GoToSession, ClickOnTheWidgetsRowBringsTheTerminal) {
    if (!XSession::available() || !onPath("xdotool"))
        GTEST_SKIP() << "Xvfb or xdotool is not installed";
    TerminalScene scene;
    const Path data = scene.x.scratch() / "data", claude = scene.x.scratch() / "claude";
    scene.writeSession(data, claude, "5e551on-a1b2");
    const Variables environment = scene.x.environment({{"OSTRELVAN_DATA_DIR", data},
                                                       {"CLAUDE_CONFIG_DIR", claude},
                                                       {"XDG_CONFIG_HOME", scene.x.scratch()},
                                                       {"XDG_RUNTIME_DIR", scene.x.scratch()}});
    Process widget({OSTRELVAN_DESKTOP}, environment,
                   Streams{"/dev/null", "/dev/null", scene.x.scratch() / "desktop.log"});
    const auto xdotool = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "xdotool");
        return run(arguments, environment).code;
    };
    // The 1280 × 800 screen has no panels: one session's lamp sits at the middle of the right
    // edge's column, its row 22 points below the middle, in the panel left of the column.
    const int lampX = 1280 - 8 - 18, middle = 400;
    const int rowX = 1280 - 402 + 12 + 120, rowY = middle + 22;
    ASSERT_TRUE(eventually([&] {
        return run({"xdotool", "search", "--pid", std::to_string(widget.pid())}, environment)
                   .code == 0;
    })) << readText(scene.x.scratch() / "desktop.log");
    const bool opened = eventually([&] {
        xdotool({"mousemove", std::to_string(lampX), std::to_string(middle)});
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        xdotool({"mousemove", std::to_string(rowX), std::to_string(rowY)});
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        xdotool({"click", "1"});
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return scene.x.activePid() == scene.tmuxTerminal->pid();
    });
    EXPECT_TRUE(opened) << "active window of pid " << scene.x.activePid().value_or(0) << "\n"
                        << readText(scene.x.scratch() / "desktop.log");
    EXPECT_EQ(scene.tmux({"display-message", "-p", "-t", "work", "#{window_name} #{pane_id}"}),
              "agent " + scene.agentPane + "\n");
    ::kill(widget.pid(), SIGTERM);
    widget.wait();
}
