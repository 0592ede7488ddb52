#include "DesktopBed.h"

namespace ostrelvan {
namespace {

using namespace test;

// `ostrelvan open` from another terminal on another desktop, and then a click on the session's row
// in the real widget, in the list the pointer opened by resting on the lamp: each time the tmux
// terminal's window comes forward on its own desktop, its client showing the agent's session,
// window and pane.
TEST(GoToSession, OstrelvanOpenAndTheWidgetsRowBringTheTerminalAndSelectTheTmuxPane) {
    SKIP_WITHOUT(Shell::openbox);
    DesktopBed bed;
    TerminalScene scene(bed.x);
    scene.writeSession(bed.data, bed.root / "claude", "5e551on-a1b2");
    const auto ostrelvan = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OSTRELVAN_EXECUTABLE);
        return run(arguments, bed.appEnvironment());
    };
    const auto broughtForward = [&] {
        return eventually([&] {
            return bed.x.activePid() == scene.tmuxTerminal->pid() && bed.x.currentDesktop() == 0u &&
                   scene.tmux({"list-clients", "-F", "#{session_name}"}) == "work\n" &&
                   scene.tmux({"display-message", "-p", "-t", "work",
                               "#{window_name} #{pane_id}"}) == "agent " + scene.agentPane + "\n";
        });
    };
    ASSERT_TRUE(contains(ostrelvan({"status"}).out, "Awaiting review"));

    const Outcome opened = ostrelvan({"open", "5e5"});
    EXPECT_EQ(opened.code, 0) << opened.err;
    EXPECT_TRUE(broughtForward()) << "active window of pid " << bed.x.activePid().value_or(0);
    // Opened as from the widget: acknowledged, so no longer awaiting review.
    EXPECT_TRUE(contains(ostrelvan({"status"}).out, "Idle"));

    scene.goElsewhere();
    ASSERT_TRUE(bed.startApp());
    bed.pointAtLamp();
    ASSERT_TRUE(bed.listOpen(true)) << bed.appLog();
    const ScreenRect row = bed.onScreen(bed.metrics.rowRect(0, 0));
    click(bed.x, row.x + 120, row.y + row.height / 2);
    EXPECT_TRUE(broughtForward()) << "active window of pid " << bed.x.activePid().value_or(0)
                                  << "\n"
                                  << bed.appLog();
}

} // namespace
} // namespace ostrelvan
