// The real ostrelvan-desktop on real desktops, over a data folder that the real hook helper
// writes, looked at from outside through screenshots of the whole screen.
#include "DesktopBed.h"
#include "Legibility.h"

#include <array>
#include <cstring>
#include <set>
#include <xcb/xcb.h>

namespace ostrelvan {
namespace {

using namespace test;

// On every desktop: a lamp changes colour when a hook event arrives, and garbage files and a
// burst of events leave the widget alive and right; hover opens the list and leaving closes it.
// On Wayland the app runs through XWayland, which is told nothing once the pointer is on a native
// window: the list must close all the same. On X11, a second start shows the list, which closes by
// itself without the pointer.
class OnEveryDesktop : public ::testing::TestWithParam<Shell> {};

TEST_P(OnEveryDesktop, LampsFollowHookEventsAndHoverOpensTheList) {
    SKIP_WITHOUT(GetParam());
    DesktopBed bed(GetParam());
    const bool wayland = GetParam() == Shell::gnomeWayland || GetParam() == Shell::kwinWayland;
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
        std::optional<ScreenRect> native;
        ASSERT_TRUE(eventually(
            [&] {
                native = changedBox(bare, screenshot(bed.x), {0, 0, bed.area.width, bed.area.y});
                return native && native->width > 100 && native->height > 50;
            },
            20s))
            << "no Wayland window appeared";
        const ScreenRect list = bed.onScreen(bed.metrics.panelRect());
        ASSERT_FALSE(native->contains(list.x, list.y + list.height / 2) ||
                     native->contains(bed.away().first, bed.away().second))
            << "the Wayland window is where the list opens or the pointer rests";
        leaveX = native->x + native->width / 2;
        leaveY = native->y + native->height / 2;
    }
    ASSERT_TRUE(bed.startApp());
    Rgb seen;
    auto lampIs = [&](Hue expected) {
        return eventually([&] { return hueOf(seen = bed.lampColour()) == expected; }, 10s);
    };
    ASSERT_TRUE(lampIs(Hue::green)) << "a working lamp is " << describe(seen) << "\n"
                                    << bed.appLog();
    // Nothing is drawn far from the widget (below where GNOME shows its notices).
    const ScreenRect far{bed.area.x, bed.area.y + 100, bed.area.width / 3, bed.area.height - 100};
    EXPECT_LT(changedPixels(bed.bare, bed.closed, far), 20);

    ASSERT_TRUE(bed.listOpen(false));
    bed.pointAtLamp();
    ASSERT_TRUE(bed.listOpen(true)) << "the list did not open under the pointer\n" << bed.appLog();
    movePointer(bed.x, leaveX, leaveY);
    EXPECT_TRUE(bed.listOpen(false)) << "the list stayed open after the pointer left\n"
                                     << bed.appLog();
    bed.pointAtLamp();
    ASSERT_TRUE(bed.listOpen(true)) << "the list did not open a second time";
    bed.pointAway();
    EXPECT_TRUE(bed.listOpen(false)) << "the list stayed open over the desktop";
    if (!wayland) {
        const Outcome second = run({OSTRELVAN_DESKTOP}, bed.appEnvironment());
        EXPECT_EQ(second.code, 0) << second.err;
        ASSERT_TRUE(bed.listOpen(true)) << "a second start did not show the list\n" << bed.appLog();
        EXPECT_TRUE(bed.listOpen(false)) << "the list stayed open without the pointer";
    }

    // Claude Code asks for permission: the lamp turns orange.
    const std::string bash = R"(,"tool_name":"Bash","tool_input":{"command":"npm test"})";
    ASSERT_EQ(bed.hook("PermissionRequest", "e2e", bash).code, 0);
    EXPECT_TRUE(lampIs(Hue::orange)) << "a lamp waiting for approval is " << describe(seen);
    for (int i = 0; i < 20; ++i)
        writeText(bed.data / "sessions" / ("junk-" + std::to_string(i) + ".json"), "{not json");
    for (int i = 0; i < 100; ++i) {
        bed.hook("PermissionRequest", "e2e", bash);
        bed.hook("PostToolUse", "e2e", bash);
    }
    EXPECT_TRUE(lampIs(Hue::green)) << "back at work, the lamp is " << describe(seen);
    EXPECT_TRUE(bed.appAlive()) << bed.appLog();
}

INSTANTIATE_TEST_SUITE_P(Desktops, OnEveryDesktop,
                         ::testing::Values(Shell::openbox, Shell::gnomeX11, Shell::gnomeWayland,
                                           Shell::kwinWayland));

TEST(DesktopEndToEnd, TheListShownByASecondStartLetsClicksThroughOnceThePointerLeft) {
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

    // The pointer comes to the list and goes: it closes, and clicks there reach the window below.
    movePointer(bed.x, spotX, spotY);
    movePointer(bed.x, spotX + 20, spotY + 10);
    bed.pointAway();
    EXPECT_TRUE(bed.listOpen(false)) << "the list stayed open after the pointer left";
    EXPECT_TRUE(clickBelow(readText(clicks).size()))
        << "clicks where the list was miss the window below";
    EXPECT_TRUE(bed.listOpen(false)) << "the click opened the list";
    EXPECT_TRUE(bed.appAlive()) << bed.appLog();
}

// Whether a compositing manager holds the screen's selection.
bool compositing(const XSession& x) {
    xcb_connection_t* c = xcb_connect(x.display().c_str(), nullptr);
    const char* name = "_NET_WM_CM_S0";
    auto* atom =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    auto* owner =
        atom ? xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atom->atom), nullptr)
             : nullptr;
    const bool owned = owner && owner->owner != XCB_WINDOW_NONE;
    std::free(owner);
    std::free(atom);
    xcb_disconnect(c);
    return owned;
}

Pixel pixelOf(Rgb c) {
    return {c.r, c.g, c.b};
}

void savePicture(const Screenshot& shot, const std::string& name) {
    const char* folder = std::getenv("OSTRELVAN_WIDGET_SHOTS");
    if (!folder || !*folder)
        return;
    writeText(Path(folder) / (name + ".ppm"), "P6\n" + std::to_string(shot.width) + " " +
                                                  std::to_string(shot.height) + "\n255\n" +
                                                  shot.pixels);
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
    const auto textContrasts = [&](const Screenshot& shot, int row) {
        const auto at = [&shot](int px, int py) { return pixelOf(shot.at(px, py)); };
        const ScreenRect r = bed.onScreen(bed.metrics.rowRect(row, 0));
        return std::pair{textContrast(at, r.x + 36, r.y + 4, r.x + 220, r.y + 24),
                         textContrast(at, r.x + 36, r.y + 29, r.x + 220, r.y + r.height - 5)};
    };
    // A plain terminal window of one colour behind the widget's whole canvas.
    const auto backdrop = [&](const std::string& colour) {
        return Process({"xterm", "-bg", colour, "-fg", colour, "-fn", "fixed", "-geometry",
                        "110x70+840+0", "-e", "sleep", "600"},
                       bed.x.environment());
    };

    for (const std::string appearance : {"dark", "light"}) {
        SCOPED_TRACE(appearance);
        std::optional<Process> compositor(
            std::in_place,
            std::vector<std::string>{"picom", "--config", "/dev/null", "--backend", "xrender"},
            bed.x.environment());
        ASSERT_TRUE(eventually([&] { return compositing(bed.x); }, 15s)) << "picom did not start";
        bed.settings("glass.appearance=" + appearance);
        std::filesystem::remove(bed.log);
        std::optional<Process> under;
        under.emplace(backdrop("black"));
        ASSERT_TRUE(bed.startApp());
        EXPECT_TRUE(contains(bed.appLog(), "no blur behind windows")) << bed.appLog();

        // The list opens under the pointer and stays open while it rests on a lamp.
        bed.pointAtLamp();
        Screenshot overBlack;
        ASSERT_TRUE(eventually(
            [&] {
                const Screenshot first = screenshot(bed.x);
                if (first.width == 0 || first.at(panel.x + 30, besideY).r < 12)
                    return false;
                overBlack = screenshot(bed.x);
                return overBlack.pixels == first.pixels; // the panel has settled
            },
            15s))
            << "the list did not open over the black window";
        EXPECT_LT(overBlack.at(besideX, besideY).r, 10);

        // The glass, pixel by pixel, once the white window is up behind the widget: how much of
        // the change from black to white comes through.
        under.emplace(backdrop("white"));
        Screenshot overWhite;
        const auto leastOpacity = [&] {
            double least = 1;
            for (const auto& [glass, inset] :
                 {std::pair{panel, std::pair{21, 21}}, std::pair{column, std::pair{4, 20}}})
                for (int y = glass.y + inset.second; y < glass.y + glass.height - inset.second; ++y)
                    for (int px = glass.x + inset.first; px < glass.x + glass.width - inset.first;
                         ++px)
                        least = std::min(least, opacity(pixelOf(overWhite.at(px, y)),
                                                        pixelOf(overBlack.at(px, y))));
            return least;
        };
        double least = 0;
        EXPECT_TRUE(eventually(
            [&] {
                overWhite = screenshot(bed.x);
                return overWhite.width > 0 && overWhite.at(besideX, besideY).r > 240 &&
                       overWhite.at(panel.x - 20, besideY).r > 240 &&
                       (least = leastOpacity()) >= 0.85;
            },
            20s))
            << "least opacity " << least << ", beside the column "
            << describe(overWhite.at(besideX, besideY));
        savePicture(overBlack, "picom-" + appearance + "-over-black");
        savePicture(overWhite, "picom-" + appearance + "-over-white");

        // The name and the status line of each row, over both windows.
        double leastName = 100, leastStatus = 100;
        for (const Screenshot* shot : {&overBlack, &overWhite})
            for (int i = 0; i < 3; ++i) {
                const auto [name, status] = textContrasts(*shot, i);
                EXPECT_GE(name, 4.5) << "row " << i;
                EXPECT_GE(status, 3.0) << "row " << i;
                leastName = std::min(leastName, name);
                leastStatus = std::min(leastStatus, status);
            }
        std::printf("%s glass under picom: least opacity %.3f, contrast of names %.2f, of "
                    "status lines %.2f\n",
                    appearance.c_str(), least, leastName, leastStatus);

        // The compositing manager goes away while the app runs. The see-through canvas beside
        // the column shows the white window, not black, and the glass is drawn solid: the white
        // window does not show through it.
        ::kill(compositor->pid(), SIGTERM);
        compositor->wait();
        ASSERT_TRUE(eventually([&] { return !compositing(bed.x); }));
        const Pixel solid = appearance == "dark" ? Pixel{50, 50, 50} : Pixel{236, 236, 236};
        Screenshot after;
        Rgb beside;
        Pixel glass{};
        EXPECT_TRUE(eventually(
            [&] {
                after = screenshot(bed.x);
                if (after.width == 0)
                    return false;
                beside = after.at(besideX, besideY);
                glass = commonest([&](int px, int py) { return pixelOf(after.at(px, py)); },
                                  panel.x + 21, panel.y + 60, panel.x + panel.width - 22,
                                  panel.y + panel.height - 22);
                return beside.r > 240 && beside.b > 240 && glass == solid;
            },
            10s))
            << "beside the column the canvas shows " << describe(beside)
            << " instead of the white window; the glass is (" << glass[0] << ", " << glass[1]
            << ", " << glass[2] << ")\n"
            << bed.appLog();
        savePicture(after, "uncomposited-" + appearance + "-over-white");
        EXPECT_GE(textContrasts(after, 0).first, 4.5);
        EXPECT_GE(textContrasts(after, 0).second, 3.0);
        EXPECT_TRUE(contains(bed.appLog(), "compositing off")) << bed.appLog();
        bed.stopApp();
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

    // The region's rectangles (x, y, width, height) in the window, and the bounds (left, top,
    // right, bottom) they must keep within: the canvas is the window, y down.
    std::vector<std::array<int, 4>> region;
    std::string seen;
    const auto readRegion = [&] {
        std::istringstream in(seen = bed.xprop(*widget, "_KDE_NET_WM_BLUR_BEHIND_REGION"));
        in.ignore(1000, '=');
        region.clear();
        std::array<int, 4> r{};
        char comma = 0;
        while (in >> r[0] >> comma >> r[1] >> comma >> r[2] >> comma >> r[3]) {
            region.push_back(r);
            in >> comma;
        }
        long area = 0;
        for (const auto& box : region)
            area += long(box[2]) * box[3];
        return area;
    };
    const auto inWindow = [h = bed.area.height](const LayoutRect& r) {
        return std::array<int, 4>{int(r.x), h - int(r.maxY()), int(r.maxX()), h - int(r.y)};
    };
    const auto within = [&](const std::array<int, 4>& bounds) {
        return std::all_of(region.begin(), region.end(), [&](const auto& r) {
            return r[0] >= bounds[0] - 1 && r[1] >= bounds[1] - 1 && r[0] + r[2] <= bounds[2] + 1 &&
                   r[1] + r[3] <= bounds[3] + 1;
        });
    };
    const auto column = inWindow(bed.metrics.columnRect());
    const auto panel = inWindow(bed.metrics.panelRect());
    const std::array<int, 4> both{panel[0], std::min(panel[1], column[1]), column[2],
                                  std::max(panel[3], column[3])};
    // Closed: the column's capsule and nothing beside it. (Its round ends leave the corners of
    // its box out: a short capsule fills under nine tenths of it.)
    const auto onlyColumn = [&] {
        return readRegion() >= 0.8 * (column[2] - column[0]) * (column[3] - column[1]) &&
               within(column);
    };
    EXPECT_TRUE(eventually(onlyColumn, 20s)) << seen << "\n" << bed.appLog();

    // Open: the list too.
    bed.pointAtLamp();
    const double panelArea = double(panel[2] - panel[0]) * (panel[3] - panel[1]);
    EXPECT_TRUE(eventually([&] { return readRegion() > 0.95 * panelArea && within(both); }, 20s))
        << seen;

    // Closed again once the pointer has left: back to the column alone.
    bed.pointAway();
    EXPECT_TRUE(eventually(onlyColumn, 20s)) << seen;
}

TEST(DesktopCommandLine, HelpVersionBadArgumentsAndAnOffscreenScreenshot) {
    const Variables environment{{"PATH", "/usr/bin:/bin"}, {"LANG", "C.UTF-8"}};
    const Outcome help = run({OSTRELVAN_DESKTOP, "--help"}, environment);
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.out.rfind("usage: ostrelvan-desktop", 0), 0u) << help.out;
    EXPECT_TRUE(contains(help.out, "widget, expanded, empty"));
    const Outcome version = run({OSTRELVAN_DESKTOP, "--version"}, environment);
    EXPECT_EQ(version.code, 0);
    EXPECT_EQ(version.out, std::string("ostrelvan-desktop ") + OSTRELVAN_VERSION + "\n");

    for (const auto& [arguments, message] : std::vector<std::pair<std::string, std::string>>{
             {"--bogus", "unknown argument '--bogus'"},
             {"status", "unknown argument 'status'"},
             {"--design-preview", "--design-preview needs a target"},
             {"--design-preview nowhere", "unknown design preview target 'nowhere'"},
             {"--screenshot", "--screenshot needs a file"}}) {
        const Outcome bad = run(words(OSTRELVAN_DESKTOP " " + arguments), environment);
        EXPECT_EQ(bad.code, 2) << message;
        EXPECT_EQ(bad.out, "");
        EXPECT_EQ(bad.err.rfind("ostrelvan-desktop: " + message + "\n", 0), 0u) << bad.err;
    }

    // Live data comes only from folders that do not depend on where it was started, as for the
    // command line.
    for (const auto& [name, value] :
         {std::pair<std::string, std::string>{"HOME", "home"}, {"CLAUDE_CONFIG_DIR", "~/claude"}}) {
        Variables relative = environment;
        relative["HOME"] = "/nonexistent";
        relative[name] = value;
        const Outcome refused = run({OSTRELVAN_DESKTOP, "--screenshot", "never.png"}, relative);
        EXPECT_EQ(refused.code, 2) << refused.err;
        EXPECT_EQ(refused.err.rfind("ostrelvan-desktop: " + name + " is \"" + value + "\", ", 0),
                  0u)
            << refused.err;
    }

    // No display is needed for a screenshot; the preview target is case-blind.
    TempDir temp;
    const Path picture = temp / "widget.png", raw = temp / "widget.rgba";
    Variables headless = environment;
    headless["XDG_RUNTIME_DIR"] = temp.path().string();
    headless["OSTRELVAN_PREVIEW_HEIGHT"] = "500";
    const Outcome shot = run({OSTRELVAN_DESKTOP, "--design-preview", "Many", "--screenshot",
                              picture.string(), "--expanded"},
                             headless);
    ASSERT_EQ(shot.code, 0) << shot.err;
    // Read back from outside: the canvas's size, the column's lamps in the colours of the
    // preview's sessions, clear desktop between the column and the open panel, glass in the panel.
    ASSERT_EQ(
        run({"convert", picture.string(), "-depth", "8", "rgba:" + raw.string()}, environment).code,
        0);
    const std::string rgba = readText(raw);
    const int width = int(WidgetMetrics::canvasWidth), height = 500;
    ASSERT_EQ(rgba.size(), std::size_t(width * height * 4));
    const auto channel = [&](int x, int y, int c) {
        return int(static_cast<unsigned char>(rgba[std::size_t((y * width + x) * 4 + c)]));
    };
    const WidgetMetrics metrics({1}, height);
    const LayoutRect column = metrics.columnRect(), panel = metrics.panelRect();
    std::set<Hue> hues;
    const int lampX = int(column.x + column.width / 2);
    for (int y = 0; y < height; ++y)
        if (channel(lampX, y, 3) == 255)
            hues.insert(hueOf({channel(lampX, y, 0), channel(lampX, y, 1), channel(lampX, y, 2)}));
    EXPECT_TRUE(hues.count(Hue::green) && hues.count(Hue::orange) && hues.count(Hue::grey));
    EXPECT_EQ(channel(int((panel.x + panel.width + column.x) / 2), height / 2, 3), 0);
    EXPECT_GT(channel(int(panel.x) + 6, height / 2, 3), 0);

    const Outcome unwritable =
        run({OSTRELVAN_DESKTOP, "--design-preview", "empty", "--screenshot", "/nonexistent/x.png"},
            headless);
    EXPECT_EQ(unwritable.code, 1);
    EXPECT_TRUE(contains(unwritable.err, "could not write /nonexistent/x.png"));
}

} // namespace
} // namespace ostrelvan
