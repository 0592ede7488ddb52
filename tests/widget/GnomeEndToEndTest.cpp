// The real ostrelvan-desktop on GNOME Shell's Wayland session, where it runs through XWayland
// beside native Wayland windows, driven and looked at from the display the shell is nested in.
#include "GnomeShell.h"
#include "ScreenChanges.h"
#include "app/widgetmodel/WidgetMetrics.h"

#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

using namespace test;
using namespace std::chrono_literals;

// One working session, recorded by the real hook helper for a live agent, and the real app on
// GNOME Shell; where its lamp and list are on the screen.
class GnomeDesktop {
public:
    explicit GnomeDesktop(GnomeShell::Mode mode) : shell(mode) {
        std::filesystem::create_directories(home);
        for (const auto& [event, extra] :
             {std::pair<std::string, std::string>{"SessionStart", R"(,"source":"startup")"},
              {"UserPromptSubmit", R"(,"prompt":"run the tests")"}}) {
            const Outcome out = run({OSTRELVAN_HOOK},
                                    Variables{{"OSTRELVAN_DATA_DIR", data.string()},
                                              {"PATH", "/usr/bin:/bin"},
                                              {"CLAUDE_PID", std::to_string(agent.pid())},
                                              {"CLAUDE_CODE_ENTRYPOINT", "cli"}},
                                    payload(event, "on-gnome", extra));
            if (out.code != 0)
                throw std::runtime_error("the hook helper failed: " + out.err);
        }
        if (!eventually([&] { return (area = shell.workArea()).height > 0; }))
            throw std::runtime_error("no work area\n" + shell.log());
        const WidgetMetrics metrics({1}, area.height);
        const int canvasX = area.x + area.width - int(WidgetMetrics::canvasWidth);
        canvas = {canvasX, area.y, int(WidgetMetrics::canvasWidth), area.height};
        const LayoutRect column = metrics.columnRect();
        lampX = canvasX + int(column.x + column.width / 2);
        lampY = area.y + area.height - int(metrics.lampCentreY(0));
        // The left part of the open list, clear of any tool tip by the lamps.
        const LayoutRect panel = metrics.panelRect();
        list = {canvasX + int(panel.x), area.y + area.height - int(panel.maxY()),
                int(panel.width * 0.4), int(panel.height)};
    }

    Variables appEnvironment() const {
        return shell.environment({{"HOME", home.string()},
                                  {"PATH", "/usr/bin:/bin"},
                                  {"XDG_CONFIG_HOME", (home / ".config").string()},
                                  {"OSTRELVAN_DATA_DIR", data.string()},
                                  {"CLAUDE_CONFIG_DIR", (root / "claude").string()}});
    }

    // Starts the app over `bare` (the screen without it) and waits for its lamp.
    ::testing::AssertionResult startApp(const Screenshot& bare) {
        app.emplace(std::vector<std::string>{OSTRELVAN_DESKTOP}, appEnvironment(),
                    Streams{"/dev/null", log, log});
        if (!eventually([&] { return readText(log).find("widget shown") != std::string::npos; },
                        30s))
            return ::testing::AssertionFailure() << "the widget was not shown\n" << readText(log);
        // As in a real GNOME session, Wayland's too: through X11.
        if (readText(log).find("platform xcb") == std::string::npos)
            return ::testing::AssertionFailure() << "not on X11\n" << readText(log);
        if (!eventually([&] { return changedPixels(bare, shell.screenshot(), canvas) > 50; }, 20s))
            return ::testing::AssertionFailure() << "the lamps did not appear\n" << readText(log);
        closed = shell.screenshot();
        return ::testing::AssertionSuccess();
    }

    bool listOpen(bool open) const {
        return eventuallyDiffers(closed, list, open, [&] { return shell.screenshot(); });
    }

    std::string appLog() const { return readText(log); }

    GnomeShell shell;
    TempDir root;
    Path data = root / "data";
    Path home = root / "home";
    Path log = root / "desktop.log";
    Process agent{{"/bin/sleep", "600"}};
    WorkArea area;
    ScreenRect canvas, list;
    int lampX = 0, lampY = 0;
    std::optional<Process> app;
    // The screen with the app running and its list closed.
    Screenshot closed;
};

TEST(GnomeWayland, TheListOpensOnHoverAndClosesWhenThePointerMovesOntoANativeWindow) {
    if (!GnomeShell::available())
        GTEST_SKIP() << "gnome-shell is not installed";
    GnomeDesktop d(GnomeShell::Mode::nestedWayland);

    // A native Wayland window, where a Wayland session's pointer often is; where the shell put
    // it shows in what changed on the screen.
    d.shell.movePointer(100, d.area.y + 100);
    const Screenshot bare = d.shell.screenshot();
    Process dialog({"zenity", "--info", "--title=Native", "--text=A native Wayland window"},
                   d.shell.waylandEnvironment(),
                   {"/dev/null", d.root / "zenity.log", d.root / "zenity.log"});
    std::optional<ScreenRect> native;
    ASSERT_TRUE(eventually(
        [&] {
            native = changedBox(bare, d.shell.screenshot(), {0, 0, d.area.width, d.area.y});
            return native && native->width > 100 && native->height > 50;
        },
        20s))
        << "no Wayland window appeared\n"
        << readText(d.root / "zenity.log");
    const ScreenRect& list = d.list;
    ASSERT_FALSE(native->contains(list.x, list.y) ||
                 native->contains(list.x + list.width, list.y + list.height))
        << "the Wayland window is where the list opens";

    ASSERT_TRUE(d.startApp(d.shell.screenshot()));
    ASSERT_TRUE(d.listOpen(false));

    // Hover opens the list; moving onto the native window closes it.
    d.shell.movePointer(d.lampX, d.lampY);
    ASSERT_TRUE(d.listOpen(true)) << "the list did not open under the pointer\n" << d.appLog();
    d.shell.movePointer(native->x + native->width / 2, native->y + native->height / 2);
    EXPECT_TRUE(d.listOpen(false)) << "the list stayed open over the Wayland window\n"
                                   << d.appLog();

    // Back on the lamps it opens again; onto the bare desktop, it closes again.
    d.shell.movePointer(d.lampX, d.lampY);
    ASSERT_TRUE(d.listOpen(true)) << "the list did not open a second time";
    int desktopX = 100, desktopY = d.area.y + d.area.height - 60;
    if (native->contains(desktopX, desktopY))
        desktopY = d.area.y + 20;
    d.shell.movePointer(desktopX, desktopY);
    EXPECT_TRUE(d.listOpen(false)) << "the list stayed open over the desktop";
    EXPECT_EQ(::kill(d.app->pid(), 0), 0) << "ostrelvan-desktop died\n" << d.appLog();
}

TEST(GnomeX11, HoverOpensAndClosesTheListAndASecondStartsListClosesByItself) {
    if (!GnomeShell::available())
        GTEST_SKIP() << "gnome-shell is not installed";
    GnomeDesktop d(GnomeShell::Mode::x11);
    d.shell.movePointer(100, d.area.y + 100);
    ASSERT_TRUE(d.startApp(d.shell.screenshot()));
    ASSERT_TRUE(d.listOpen(false));

    d.shell.movePointer(d.lampX, d.lampY);
    ASSERT_TRUE(d.listOpen(true)) << "the list did not open under the pointer\n" << d.appLog();
    d.shell.movePointer(100, d.area.y + 100);
    EXPECT_TRUE(d.listOpen(false)) << "the list stayed open after the pointer left";

    const Outcome second = run({OSTRELVAN_DESKTOP}, d.appEnvironment());
    EXPECT_EQ(second.code, 0) << second.err;
    ASSERT_TRUE(d.listOpen(true)) << "a second start did not show the list\n" << d.appLog();
    EXPECT_TRUE(d.listOpen(false)) << "the list stayed open without the pointer";
}

} // namespace
} // namespace ostrelvan
