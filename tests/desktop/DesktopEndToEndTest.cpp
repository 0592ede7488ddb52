// The real ostrelvan-desktop on real desktops, over a data folder that the real hook helper
// writes, looked at from outside through screenshots of the whole screen.
#include "DesktopBed.h"
#include "Legibility.h"

#include <tuple>

namespace ostrelvan {
namespace {

using namespace test;

// On every desktop: a lamp changes colour when a hook event arrives; hover opens the list and
// leaving closes it.
// On Wayland the app runs through XWayland, which is told nothing once the pointer is on a native
// window: the list must close all the same. On X11 the widget is on every workspace and in no task
// bar.
class OnEveryDesktop : public ::testing::TestWithParam<Shell> {};

TEST_P(OnEveryDesktop, LampsFollowHookEventsAndHoverOpensTheList) {
    SKIP_WITHOUT(GetParam());
    DesktopBed bed(GetParam());
    const bool wayland = GetParam() == Shell::gnomeWayland || GetParam() == Shell::kwinWayland;
    const bool gnome = GetParam() == Shell::gnomeX11;
    // The lamps alone: the helper would otherwise wait for an answer to each permission request.
    bed.settings("permissions.answer=false");
    ASSERT_TRUE(bed.startWorking("e2e"));
    auto [leaveX, leaveY] = bed.away();
    std::optional<Process> dialog;
    if (wayland) {
        // A native Wayland window, where a Wayland session's pointer often is; where the
        // compositor put it shows in what changed on the screen.
        const Screenshot bare = settledScreen(bed.x);
        dialog.emplace(std::vector<std::string>{"zenity", "--info", "--text=A native window"},
                       bed.x.environment({{"GDK_BACKEND", "wayland"}}));
        ScreenRect native;
        const ScreenRect belowTopBar{0, bed.area.y, XSession::width, XSession::height - bed.area.y};
        ASSERT_TRUE(eventually(
            [&] {
                changedPixels(bare, screenshot(bed.x), belowTopBar, &native);
                return native.width > 100 && native.height > 50;
            },
            20s))
            << "no Wayland window appeared";
        leaveX = native.x + native.width / 2;
        leaveY = native.y + native.height / 2;
    }
    ASSERT_TRUE(bed.startApp());
    Rgb seen;
    auto lampIs = [&](Hue expected) {
        return eventually([&] { return hueOf(seen = bed.lampColour()) == expected; }, 10s);
    };
    ASSERT_TRUE(lampIs(Hue::green)) << "a working lamp is " << seen << "\n" << bed.appLog();
    // Nothing is drawn far from the widget (below where GNOME shows its notices).
    const ScreenRect far{bed.area.x, bed.area.y + 100, bed.area.width / 3, bed.area.height - 100};
    EXPECT_LT(changedPixels(bed.bare, bed.closed, far), 20);

    ASSERT_TRUE(bed.listOpen(false));
    bed.pointAtLamp();
    ASSERT_TRUE(bed.listOpen(true)) << "the list did not open under the pointer\n" << bed.appLog();
    movePointer(bed.x, leaveX, leaveY);
    EXPECT_TRUE(bed.listOpen(false)) << "the list stayed open after the pointer left\n"
                                     << bed.appLog();

    // Claude Code asks for permission: the lamp turns orange.
    ASSERT_EQ(bed.hook("PermissionRequest", "e2e",
                       R"(,"tool_name":"Bash","tool_input":{"command":"npm test"})")
                  .code,
              0);
    EXPECT_TRUE(lampIs(Hue::orange)) << "a lamp waiting for approval is " << seen;
    EXPECT_TRUE(bed.appAlive()) << bed.appLog();
    if (wayland)
        return;

    // The widget stays on every workspace, and its window's state keeps it out of task bars and
    // pagers (openbox knows no sticky state: it keeps the window on desktop "all" instead).
    const auto widget = bed.appWindow("Ostrelvan");
    ASSERT_TRUE(widget) << "no widget window";
    const std::string state = bed.xprop(*widget, "_NET_WM_STATE");
    EXPECT_TRUE(contains(state, "_NET_WM_STATE_SKIP_TASKBAR") &&
                contains(state, "_NET_WM_STATE_SKIP_PAGER"))
        << state;
    EXPECT_TRUE(!gnome || contains(state, "_NET_WM_STATE_STICKY")) << state;
    EXPECT_EQ(bed.x.property("_NET_WM_DESKTOP", *widget), 0xFFFFFFFFu);
    // No window of the app names a parent that mutter cannot find.
    EXPECT_FALSE(contains(bed.x.log(), "WM_TRANSIENT_FOR")) << bed.x.log();
    // GNOME keeps one empty workspace after the last one in use: there are two.
    for (const std::uint32_t desktop : gnome ? std::vector{1u} : std::vector{1u, 3u}) {
        bed.x.setCurrentDesktop(desktop);
        ASSERT_TRUE(eventually([&] { return bed.x.currentDesktop() == desktop; }));
        EXPECT_TRUE(lampIs(Hue::orange)) << "on workspace " << desktop << " the lamp is " << seen;
    }
}

INSTANTIATE_TEST_SUITE_P(Desktops, OnEveryDesktop,
                         ::testing::Values(Shell::openbox, Shell::gnomeX11, Shell::gnomeWayland,
                                           Shell::kwinWayland));

// A second start shows the list, which closes by itself and then lets clicks through.
TEST(DesktopEndToEnd, TheListShownByASecondStartClosesByItselfAndLetsClicksThrough) {
    SKIP_WITHOUT(Shell::openbox, "xev");
    DesktopBed bed;
    ASSERT_TRUE(bed.startWorking("e2e-present"));
    const ScreenRect list = bed.onScreen(bed.metrics.panelRect());
    // Where a click on the open list would land: on a row's name, away from its buttons.
    const int spotX = list.x + 60, spotY = list.y + list.height / 2;

    // A window below the list that reports every click it gets, and nothing else.
    const Path clicks = bed.root / "clicks.log";
    Process below({"xev", "-event", "button", "-geometry",
                   std::to_string(list.width + 40) + "x" + std::to_string(list.height + 40) + "+" +
                       std::to_string(list.x - 20) + "+" + std::to_string(list.y - 20)},
                  bed.x.environment(), {"/dev/null", clicks, clicks});
    auto clickBelow = [&](std::size_t reported) {
        return eventually([&] {
            click(bed.x, spotX, spotY);
            bed.pointAway();
            return contains(readText(clicks).substr(reported), "ButtonPress");
        });
    };
    ASSERT_TRUE(clickBelow(0)) << "the window below never got a click\n" << readText(clicks);

    ASSERT_TRUE(bed.startApp());
    ASSERT_TRUE(bed.listOpen(false));
    const Outcome second = run({OSTRELVAN_DESKTOP}, bed.appEnvironment());
    EXPECT_EQ(second.code, 0) << second.err;
    ASSERT_TRUE(bed.listOpen(true)) << "a second start did not show the list\n" << bed.appLog();
    EXPECT_TRUE(bed.listOpen(false)) << "the list stayed open without the pointer";
    EXPECT_TRUE(clickBelow(readText(clicks).size()))
        << "clicks where the list was miss the window below";
    EXPECT_TRUE(bed.listOpen(false)) << "the click opened the list";
    EXPECT_TRUE(bed.appAlive()) << bed.appLog();
}

Pixel pixelOf(Rgb c) {
    return {c.r, c.g, c.b};
}

// On a compositing manager that blurs nothing (picom as it comes), the open list must hide the
// window below it, in dark and in light; when the compositing manager exits while the app runs,
// the see-through canvas must not turn black and the glass must stay readable.
TEST(DesktopEndToEnd, WithoutBlurTheGlassHidesTheWindowBelowAndFollowsTheCompositor) {
    SKIP_WITHOUT(Shell::openbox, "picom");
    // Three sessions of one agent, under one header, whose lamps hold still: two finished turns
    // and one waiting for approval.
    DesktopBed bed(Shell::openbox, {3});
    for (const std::string session : {"glass-one", "glass-two", "glass-three"})
        ASSERT_TRUE(bed.startWorking(session));
    ASSERT_EQ(bed.hook("Stop", "glass-one").code, 0);
    ASSERT_EQ(bed.hook("Stop", "glass-two").code, 0);
    ASSERT_EQ(bed.hook("PermissionRequest", "glass-three",
                       R"(,"tool_name":"Bash","tool_input":{"command":"make"})")
                  .code,
              0);
    const ScreenRect column = bed.onScreen(bed.metrics.columnRect());
    const ScreenRect panel = bed.onScreen(bed.metrics.panelRect());
    // In the canvas and in its hot area, but on no glass: between the panel and the column.
    const int besideX = column.x - int(WidgetMetrics::panelColumnGap) / 2;
    const int besideY = panel.y + panel.height / 2;
    // The name and the status line of every row must be readable.
    const auto readable = [&](const Screenshot& shot) {
        const auto at = [&shot](int px, int py) { return pixelOf(shot.at(px, py)); };
        for (int i = 0; i < 3; ++i) {
            const ScreenRect r = bed.onScreen(bed.metrics.rowRect(i, 0));
            EXPECT_GE(textContrast(at, r.x + 36, r.y + 4, r.x + 220, r.y + 24), 4.5) << "row " << i;
            EXPECT_GE(textContrast(at, r.x + 36, r.y + 29, r.x + 220, r.y + r.height - 5), 3.0)
                << "row " << i;
        }
    };
    // A plain terminal window of one colour behind the widget's whole canvas.
    const auto backdrop = [&](const std::string& colour) {
        return Process({"xterm", "-bg", colour, "-fg", colour, "-fn", "fixed", "-geometry",
                        "110x70+840+0", "-e", "sleep", "600"},
                       bed.x.environment());
    };

    for (const std::string appearance : {"dark", "light"}) {
        SCOPED_TRACE(appearance);
        Process compositor({"picom", "--config", "/dev/null", "--backend", "xrender"},
                           bed.x.environment());
        bed.settings("glass.appearance=" + appearance);
        std::filesystem::remove(bed.log);
        std::optional<Process> under = backdrop("black");
        ASSERT_TRUE(bed.startApp());
        // Found at start, or a moment later should picom have been slower.
        ASSERT_TRUE(eventually([&] {
            return contains(bed.appLog(), "no blur behind windows") ||
                   contains(bed.appLog(), "compositing on, blur behind windows unavailable");
        })) << bed.appLog();

        // The list opens under the pointer and stays open while it rests on a lamp.
        bed.pointAtLamp();
        ASSERT_TRUE(bed.listOpen(true)) << "the list did not open over the black window";
        const Screenshot overBlack = settledScreen(bed.x);
        EXPECT_LT(overBlack.at(besideX, besideY).r, 10);

        // The glass, pixel by pixel, once the white window is up behind the widget: how much of
        // the change from black to white comes through.
        under.emplace(backdrop("white"));
        Screenshot overWhite;
        double least = 0;
        EXPECT_TRUE(eventually(
            [&] {
                overWhite = screenshot(bed.x);
                if (overWhite.width == 0 || overWhite.at(besideX, besideY).r < 240 ||
                    overWhite.at(panel.x - 20, besideY).r < 240)
                    return false;
                least = 1;
                for (const auto& [glass, inset] :
                     {std::pair{panel, std::pair{21, 21}}, std::pair{column, std::pair{4, 20}}})
                    for (int y = glass.y + inset.second; y < glass.y + glass.height - inset.second;
                         ++y)
                        for (int px = glass.x + inset.first;
                             px < glass.x + glass.width - inset.first; ++px)
                            least = std::min(least, opacity(pixelOf(overWhite.at(px, y)),
                                                            pixelOf(overBlack.at(px, y))));
                return least >= 0.85;
            },
            20s))
            << "least opacity " << least;
        readable(overBlack);
        readable(overWhite);

        // The compositing manager goes away while the app runs: the see-through canvas beside
        // the column shows the white window, not black, and the glass stays readable.
        ::kill(compositor.pid(), SIGTERM);
        compositor.wait();
        Rgb beside;
        EXPECT_TRUE(eventually(
            [&] {
                const Screenshot after = screenshot(bed.x);
                beside = after.width ? after.at(besideX, besideY) : Rgb{};
                return beside.r > 240 && beside.b > 240;
            },
            20s))
            << "beside the column the canvas shows " << beside << "\n"
            << bed.appLog();
        readable(settledScreen(bed.x));
        // Asked to quit, as a logout does.
        ::kill(bed.app->pid(), SIGTERM);
        bed.app->wait();
        bed.pointAway();
    }
}

// KWin with its blur effect blurs exactly the glass: the closed column, and the list while it
// is open, never the see-through canvas around them.
TEST(DesktopEndToEnd, OnKWinTheBlurCoversTheGlassOnly) {
    SKIP_WITHOUT(Shell::kwinX11);
    DesktopBed bed(Shell::kwinX11, {2}); // one agent: one group
    for (const std::string session : {"blur-one", "blur-two"}) {
        ASSERT_TRUE(bed.startWorking(session));
        ASSERT_EQ(bed.hook("Stop", session).code, 0);
    }
    ASSERT_TRUE(bed.startApp());
    EXPECT_FALSE(contains(bed.appLog(), "no blur behind windows")) << bed.appLog();
    const auto widget = bed.appWindow("Ostrelvan");
    ASSERT_TRUE(widget) << "the window manager manages no widget window";

    // Whether the blur region's rectangles keep within the bounds of `a` and `b` (the canvas is
    // the window, y down) and cover at least `share` of `a`. A capsule's round ends leave the
    // corners of its box out: a short one fills under nine tenths of it.
    std::string seen;
    const auto blurred = [&](const LayoutRect& a, const LayoutRect& b, double share) {
        std::istringstream in(seen = bed.xprop(*widget, "_KDE_NET_WM_BLUR_BEHIND_REGION"));
        in.ignore(1000, '=');
        const int h = bed.area.height;
        const int left = int(std::min(a.x, b.x)) - 1, right = int(std::max(a.maxX(), b.maxX())) + 1;
        const int top = h - int(std::max(a.maxY(), b.maxY())) - 1,
                  bottom = h - int(std::min(a.y, b.y)) + 1;
        double covered = 0;
        bool within = true;
        int x = 0, y = 0, width = 0, height = 0;
        char comma = 0;
        while (in >> x >> comma >> y >> comma >> width >> comma >> height) {
            covered += double(width) * height;
            within = within && x >= left && y >= top && x + width <= right && y + height <= bottom;
            in >> comma;
        }
        return within && covered >= share * a.width * a.height;
    };
    const LayoutRect column = bed.metrics.columnRect(), panel = bed.metrics.panelRect();
    // Closed: the column's capsule and nothing beside it; open: the list too.
    EXPECT_TRUE(eventually([&] { return blurred(column, column, 0.8); }, 20s)) << seen << "\n"
                                                                               << bed.appLog();
    bed.pointAtLamp();
    EXPECT_TRUE(eventually([&] { return blurred(panel, column, 0.95); }, 20s)) << seen;
    bed.pointAway();
    EXPECT_TRUE(eventually([&] { return blurred(column, column, 0.8); }, 20s)) << seen;
}

TEST(DesktopCommandLine, HelpVersionBadArgumentsAndAnOffscreenScreenshot) {
    const Variables environment{{"PATH", "/usr/bin:/bin"}, {"LANG", "C.UTF-8"}};
    // How each command line exits and what it prints first: help and version on standard
    // output, a usage error on standard error, and nothing on the other.
    using Row = std::tuple<std::string, int, std::string>;
    for (const auto& [arguments, code, start] : std::vector<Row>{
             {"--help", 0, "usage: ostrelvan-desktop"},
             {"--version", 0, std::string("ostrelvan-desktop ") + OSTRELVAN_VERSION + "\n"},
             {"--bogus", 2, "unknown argument '--bogus'"},
             {"--design-preview", 2, "--design-preview needs a target"},
             {"--design-preview nowhere", 2, "unknown design preview target 'nowhere'"},
             {"--screenshot", 2, "--screenshot needs a file"}}) {
        const Outcome out = run(words(OSTRELVAN_DESKTOP " " + arguments), environment);
        EXPECT_EQ(out.code, code) << arguments;
        EXPECT_EQ(code ? out.err.rfind("ostrelvan-desktop: " + start + "\n", 0)
                       : out.out.rfind(start, 0),
                  0u)
            << out.out << out.err;
        EXPECT_EQ(code ? out.out : out.err, "") << arguments;
    }

    // Live data comes only from folders that do not depend on where it was started, as for the
    // command line.
    Variables relative = environment;
    relative["HOME"] = "home";
    const Outcome refused = run({OSTRELVAN_DESKTOP, "--screenshot", "never.png"}, relative);
    EXPECT_EQ(refused.code, 2) << refused.err;
    EXPECT_EQ(refused.err.rfind("ostrelvan-desktop: HOME is \"home\", ", 0), 0u) << refused.err;

    // No display is needed for a screenshot; the preview target is case-blind.
    TempDir temp;
    const Path picture = temp / "widget.png";
    Variables headless = environment;
    headless["XDG_RUNTIME_DIR"] = temp.path().string();
    headless["OSTRELVAN_PREVIEW_HEIGHT"] = "500";
    const Outcome shot = run({OSTRELVAN_DESKTOP, "--design-preview", "Many", "--screenshot",
                              picture.string(), "--expanded"},
                             headless);
    ASSERT_EQ(shot.code, 0) << shot.err;
    // Read back from outside, along the middle row: the canvas's size, clear desktop between the
    // column and the open panel, glass in the panel.
    const std::string rgba =
        run({"convert", picture.string(), "-depth", "8", "rgba:-"}, environment).out;
    const int width = int(WidgetMetrics::canvasWidth), height = 500;
    ASSERT_EQ(rgba.size(), std::size_t(width * height * 4));
    const auto alpha = [&](double x) {
        return int(
            static_cast<unsigned char>(rgba[std::size_t((height / 2 * width + int(x)) * 4 + 3)]));
    };
    const WidgetMetrics metrics({1}, height);
    const LayoutRect column = metrics.columnRect(), panel = metrics.panelRect();
    EXPECT_EQ(alpha((panel.maxX() + column.x) / 2), 0);
    EXPECT_GT(alpha(panel.x + 6), 0);

    const Outcome unwritable =
        run({OSTRELVAN_DESKTOP, "--design-preview", "empty", "--screenshot", "/nonexistent/x.png"},
            headless);
    EXPECT_EQ(unwritable.code, 1);
    EXPECT_TRUE(contains(unwritable.err, "could not write /nonexistent/x.png"));
}

} // namespace
} // namespace ostrelvan
