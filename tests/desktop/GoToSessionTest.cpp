#include "DesktopBed.h"

namespace ostrelvan {
namespace {

using namespace test;

// `ostrelvan open` from another terminal on another desktop: the tmux terminal's window comes
// forward on its own desktop, its client shows the agent's session, window and pane.
TEST(GoToSession, OpenBringsTheTerminalAndSelectsTheTmuxPane) {
    SKIP_WITHOUT(Shell::openbox);
    XSession x;
    TerminalScene scene(x);
    ASSERT_EQ(x.currentDesktop(), 1u);
    const Path data = x.scratch() / "data", claude = x.scratch() / "claude";
    scene.writeSession(data, claude, "5e551on-a1b2");
    const Variables environment = x.environment({{"OSTRELVAN_DATA_DIR", data},
                                                 {"CLAUDE_CONFIG_DIR", claude},
                                                 {"XDG_CONFIG_HOME", x.scratch()}});
    const auto ostrelvan = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OSTRELVAN_EXECUTABLE);
        return run(arguments, environment);
    };
    ASSERT_TRUE(contains(ostrelvan({"status"}).out, "Awaiting review"));

    const Outcome opened = ostrelvan({"open", "5e5"});
    EXPECT_EQ(opened.code, 0) << opened.err;
    EXPECT_TRUE(eventually([&] { return x.activePid() == scene.tmuxTerminal->pid(); }))
        << "active window of pid " << x.activePid().value_or(0) << ", wanted "
        << scene.tmuxTerminal->pid();
    EXPECT_EQ(x.currentDesktop(), 0u);
    EXPECT_EQ(scene.tmux({"list-clients", "-F", "#{session_name}"}), "work\n");
    EXPECT_EQ(scene.tmux({"display-message", "-p", "-t", "work", "#{window_name} #{pane_id}"}),
              "agent " + scene.agentPane + "\n");
    // Opened as from the widget: acknowledged, so no longer awaiting review.
    EXPECT_TRUE(contains(ostrelvan({"status"}).out, "Idle"));
}

// The same jump by a click on the session's row in the real widget, in the list the pointer
// opened by resting on the lamp.
TEST(GoToSession, ClickOnTheWidgetsRowBringsTheTerminal) {
    SKIP_WITHOUT(Shell::openbox);
    DesktopBed bed;
    TerminalScene scene(bed.x);
    scene.writeSession(bed.data, bed.root / "claude", "5e551on-a1b2");
    ASSERT_TRUE(bed.startApp());
    bed.pointAtLamp();
    ASSERT_TRUE(bed.listOpen(true)) << bed.appLog();
    const ScreenRect row = bed.onScreen(bed.metrics.rowRect(0, 0));
    click(bed.x, row.x + 120, row.y + row.height / 2);
    EXPECT_TRUE(eventually([&] { return bed.x.activePid() == scene.tmuxTerminal->pid(); }))
        << "active window of pid " << bed.x.activePid().value_or(0) << "\n"
        << bed.appLog();
    EXPECT_EQ(scene.tmux({"display-message", "-p", "-t", "work", "#{window_name} #{pane_id}"}),
              "agent " + scene.agentPane + "\n");
}

} // namespace
} // namespace ostrelvan
