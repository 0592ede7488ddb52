// The real ostrelvan-desktop on a private X server with a window manager, over a data folder that
// the real hook helper writes, looked at from outside through screenshots of the whole screen.
#include "Legibility.h"
#include "ScreenChanges.h"
#include "ScreenPixels.h"
#include "app/widgetmodel/WidgetMetrics.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

namespace ostrelvan {
namespace {

using namespace test;
using namespace std::chrono_literals;

enum class Hue { green, orange, grey, other };

std::string name(Hue hue) {
    switch (hue) {
    case Hue::green:
        return "green";
    case Hue::orange:
        return "orange";
    case Hue::grey:
        return "grey";
    case Hue::other:
        break;
    }
    return "other";
}

// What a person would call the colour, whatever the gem's highlight and shading do to it.
Hue hueOf(Rgb c) {
    if (c.g > c.r + 40 && c.g > c.b + 20)
        return Hue::green;
    if (c.r > c.g + 30 && c.g > c.b + 30)
        return Hue::orange;
    const int spread = std::max({c.r, c.g, c.b}) - std::min({c.r, c.g, c.b});
    if (spread < 40 && c.r > 60)
        return Hue::grey;
    return Hue::other;
}

std::string describe(Rgb c) {
    return name(hueOf(c)) + " (" + std::to_string(c.r) + ", " + std::to_string(c.g) + ", " +
           std::to_string(c.b) + ")";
}

class DesktopEndToEnd : public ::testing::Test {
protected:
    TempDir root;
    Path data = root / "data";
    Path home = root / "home";

    Variables appEnvironment(const XSession& x) const {
        return x.environment({{"HOME", home.string()},
                              {"PATH", "/usr/bin:/bin"},
                              {"XDG_CONFIG_HOME", (home / ".config").string()},
                              {"XDG_RUNTIME_DIR", root.path().string()},
                              {"OSTRELVAN_DATA_DIR", data.string()},
                              {"CLAUDE_CONFIG_DIR", (root / "claude").string()},
                              {"QT_QPA_PLATFORM", "xcb"}});
    }

    Outcome hook(const std::string& event, const std::string& session, pid_t agent,
                 const std::string& extra = "") const {
        return run({OSTRELVAN_HOOK},
                   Variables{{"OSTRELVAN_DATA_DIR", data.string()},
                             {"PATH", "/usr/bin:/bin"},
                             {"CLAUDE_PID", std::to_string(agent)},
                             {"CLAUDE_CODE_ENTRYPOINT", "cli"}},
                   payload(event, session, extra));
    }
};

TEST_F(DesktopEndToEnd, ALampChangesColourWhenAHookEventArrives) {
    if (!XSession::available())
        GTEST_SKIP() << "Xvfb is not installed";
    XSession x;
    std::filesystem::create_directories(home);
    // The lamps alone: the helper would otherwise wait for an answer to each permission request.
    writeText(home / ".config/Ostrelvan/Ostrelvan.conf", "[General]\npermissions.answer=false\n");

    // The agent is a real process, so the session counts as live.
    Process agent({"/bin/sleep", "600"});
    const std::string session = "e2e-lamp";
    ASSERT_EQ(hook("SessionStart", session, agent.pid(), R"(,"source":"startup")").code, 0);
    ASSERT_EQ(hook("UserPromptSubmit", session, agent.pid(), R"(,"prompt":"run the tests")").code,
              0);

    const Path log = root / "desktop.log";
    movePointer(x, 10, 10); // away from the widget, which would otherwise open
    Process app({OSTRELVAN_DESKTOP}, appEnvironment(x), {"/dev/null", log, log});
    ASSERT_TRUE(
        eventually([&] { return readText(log).find("widget shown") != std::string::npos; }, 20s))
        << readText(log);
    EXPECT_NE(readText(log).find("platform xcb"), std::string::npos) << readText(log);

    // Where the metrics put the one lamp: the canvas hugs the right edge of the work area and is
    // as tall as it; y turns from the canvas's upwards to the screen's downwards.
    const WorkArea area = workArea(x);
    ASSERT_GT(area.height, 0) << "no work area on the root window";
    const WidgetMetrics metrics({1}, area.height);
    const LayoutRect column = metrics.columnRect();
    const int lampX =
        area.x + area.width - int(WidgetMetrics::canvasWidth) + int(column.x + column.width / 2);
    const int lampY = area.y + area.height - int(metrics.lampCentreY(0));

    Rgb seen;
    auto lampIs = [&](Hue expected) {
        return eventually(
            [&] {
                const Screenshot shot = screenshot(x);
                if (shot.width < area.x + area.width || shot.height < area.y + area.height)
                    return false;
                seen = shot.at(lampX, lampY);
                return hueOf(seen) == expected;
            },
            10s);
    };
    ASSERT_TRUE(lampIs(Hue::green))
        << "a working lamp at " << lampX << "," << lampY << " is " << describe(seen) << "\n"
        << readText(log);
    // Nothing is drawn far from the widget.
    EXPECT_EQ(hueOf(screenshot(x).at(area.x + 100, lampY)), Hue::other);

    // Resting the pointer on the lamp opens the list beside it; leaving closes it again.
    const LayoutRect panel = metrics.panelRect();
    const int panelX = area.x + area.width - int(WidgetMetrics::canvasWidth) + int(panel.x) + 4;
    const int panelY = area.y + area.height - int(panel.midY());
    auto panelShown = [&](bool shown) {
        return eventually(
            [&] {
                const Rgb p = screenshot(x).at(panelX, panelY);
                return (p.r + p.g + p.b > 30) == shown;
            },
            5s);
    };
    ASSERT_TRUE(panelShown(false));
    movePointer(x, lampX, lampY);
    EXPECT_TRUE(panelShown(true)) << "the list did not open under the pointer";
    movePointer(x, 10, 10);
    EXPECT_TRUE(panelShown(false)) << "the list did not close after the pointer left";

    // Claude Code asks for permission: the lamp turns orange.
    ASSERT_EQ(hook("PermissionRequest", session, agent.pid(),
                   R"(,"tool_name":"Bash","tool_input":{"command":"npm test"})")
                  .code,
              0);
    EXPECT_TRUE(lampIs(Hue::orange)) << "a lamp waiting for approval is " << describe(seen);

    // Garbage files and a burst of 200 events leave the widget alive and right.
    for (int i = 0; i < 20; ++i)
        writeText(data / "sessions" / ("junk-" + std::to_string(i) + ".json"), "{not json");
    const std::string bash = R"(,"tool_name":"Bash","tool_input":{"command":"npm test"})";
    for (int i = 0; i < 100; ++i) {
        hook("PermissionRequest", session, agent.pid(), bash);
        hook("PostToolUse", session, agent.pid(), bash);
    }
    EXPECT_TRUE(lampIs(Hue::green)) << "back at work, the lamp is " << describe(seen);
    EXPECT_EQ(::kill(app.pid(), 0), 0) << "ostrelvan-desktop died\n" << readText(log);
}

TEST_F(DesktopEndToEnd, ASecondStartShowsTheListUntilThePointerHasComeAndGone) {
    if (!XSession::available())
        GTEST_SKIP() << "Xvfb is not installed";
    XSession x;
    std::filesystem::create_directories(home);
    Process agent({"/bin/sleep", "600"});
    ASSERT_EQ(hook("SessionStart", "e2e-present", agent.pid(), R"(,"source":"startup")").code, 0);
    ASSERT_EQ(hook("UserPromptSubmit", "e2e-present", agent.pid(), R"(,"prompt":"go")").code, 0);

    // openbox publishes the work area a moment after it starts managing.
    WorkArea area;
    ASSERT_TRUE(eventually([&] { return (area = workArea(x)).height > 0; }))
        << "no work area on the root window";
    const WidgetMetrics metrics({1}, area.height);
    const int canvasX = area.x + area.width - int(WidgetMetrics::canvasWidth);
    const LayoutRect panel = metrics.panelRect();
    const int listX = canvasX + int(panel.x), listY = area.y + area.height - int(panel.maxY());
    const int listWidth = int(panel.width), listHeight = int(panel.height);
    // Where a click on the open list would land: on a row's name, away from its buttons.
    const int spotX = listX + 60, spotY = listY + listHeight / 2;

    // A window below the list that reports every click it gets.
    const Path clicks = root / "clicks.log";
    Process below({"xev", "-event", "button", "-geometry",
                   std::to_string(listWidth + 40) + "x" + std::to_string(listHeight + 40) + "+" +
                       std::to_string(listX - 20) + "+" + std::to_string(listY - 20)},
                  x.environment(), {"/dev/null", clicks, clicks});
    auto clicksSeen = [&] {
        const std::string text = readText(clicks);
        int n = 0;
        for (auto at = text.find("ButtonPress"); at != std::string::npos;
             at = text.find("ButtonPress", at + 1))
            ++n;
        return n;
    };
    auto click = [&] {
        movePointer(x, spotX, spotY);
        run({"xdotool", "click", "1"}, x.environment());
    };
    // Clicks reach it before the app runs.
    ASSERT_TRUE(eventually([&] {
        click();
        return clicksSeen() > 0;
    })) << "the window below never got a click\n"
        << readText(clicks);

    movePointer(x, 10, 10);
    const Path log = root / "desktop.log";
    Process app({OSTRELVAN_DESKTOP}, appEnvironment(x), {"/dev/null", log, log});
    ASSERT_TRUE(
        eventually([&] { return readText(log).find("widget shown") != std::string::npos; }, 20s))
        << readText(log);
    // Settled: the lamp drawn, nothing else.
    Screenshot closed;
    ASSERT_TRUE(eventually([&] {
        const Screenshot before = screenshot(x);
        closed = screenshot(x);
        return changedPixels(before, closed, {0, 0, closed.width, closed.height}) == 0 &&
               closed.width > 0;
    }));
    auto listOpen = [&](bool open) {
        // Below the window's title bar, left of any tool tip by the lamps.
        return eventuallyDiffers(closed, {listX, listY + 30, int(listWidth * 0.4), listHeight - 40},
                                 open, [&] { return screenshot(x); });
    };
    ASSERT_TRUE(listOpen(false));

    // A second start asks this one to show its list, and leaves.
    const Outcome second = run({OSTRELVAN_DESKTOP}, appEnvironment(x));
    EXPECT_EQ(second.code, 0) << second.err;
    ASSERT_TRUE(listOpen(true)) << "a second start did not show the list\n" << readText(log);

    // The pointer comes to the list and goes: it closes, and clicks there reach the window below.
    movePointer(x, spotX, spotY);
    movePointer(x, spotX + 20, spotY + 10);
    movePointer(x, 10, 10);
    EXPECT_TRUE(listOpen(false)) << "the list stayed open after the pointer left";
    const int before = clicksSeen();
    EXPECT_TRUE(eventually([&] {
        click();
        movePointer(x, 10, 10);
        return clicksSeen() > before;
    })) << "clicks where the list was do not reach the window below";
    EXPECT_TRUE(listOpen(false)) << "the click opened the list";

    // Shown again with the pointer far away: it closes by itself.
    movePointer(x, 10, 10);
    ASSERT_EQ(run({OSTRELVAN_DESKTOP}, appEnvironment(x)).code, 0);
    ASSERT_TRUE(listOpen(true)) << "a third start did not show the list";
    EXPECT_TRUE(listOpen(false)) << "the list stayed open without the pointer";
    EXPECT_EQ(::kill(app.pid(), 0), 0) << "ostrelvan-desktop died\n" << readText(log);
}

// Whether a compositing manager holds the screen's selection.
bool compositing(const XSession& x) {
    xcb_connection_t* c = xcb_connect(x.display().c_str(), nullptr);
    bool owned = false;
    if (!xcb_connection_has_error(c)) {
        const char* name = "_NET_WM_CM_S0";
        std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name),
                                  nullptr),
            &std::free);
        std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
            atom ? xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atom->atom), nullptr)
                 : nullptr,
            &std::free);
        owned = owner && owner->owner != XCB_WINDOW_NONE;
    }
    xcb_disconnect(c);
    return owned;
}

Pixel pixelOf(Rgb c) {
    return {c.r, c.g, c.b};
}

// A plain terminal window of one colour behind the widget's whole canvas.
Process backdrop(const XSession& x, const std::string& colour) {
    return Process({"xterm", "-bg", colour, "-fg", colour, "-fn", "fixed", "-geometry",
                    "110x70+840+0", "-e", "sleep", "600"},
                   x.environment());
}

void savePicture(const Screenshot& shot, const std::string& name) {
    const std::string folder =
        std::getenv("OSTRELVAN_WIDGET_SHOTS") ? std::getenv("OSTRELVAN_WIDGET_SHOTS") : "";
    if (folder.empty())
        return;
    std::filesystem::create_directories(folder);
    writeText(Path(folder) / (name + ".ppm"), "P6\n" + std::to_string(shot.width) + " " +
                                                  std::to_string(shot.height) + "\n255\n" +
                                                  shot.pixels);
}

// On a compositing manager that blurs nothing (picom as it comes), the open list must hide the
// window below it, in dark and in light; when the compositing manager exits while the app runs,
// the see-through canvas must not turn black and the glass must stay readable.
TEST_F(DesktopEndToEnd, WithoutBlurTheGlassHidesTheWindowBelowAndFollowsTheCompositor) {
    if (!XSession::available() || !onPath("picom"))
        GTEST_SKIP() << "Xvfb or picom is not installed";
    XSession x;
    std::filesystem::create_directories(home);

    // Sessions whose lamps hold still: two finished turns and one waiting for approval, all
    // of one agent.
    Process agent({"/bin/sleep", "600"});
    for (const std::string session : {"glass-one", "glass-two", "glass-three"}) {
        ASSERT_EQ(hook("SessionStart", session, agent.pid(), R"(,"source":"startup")").code, 0);
        ASSERT_EQ(hook("UserPromptSubmit", session, agent.pid(), R"(,"prompt":"tidy up")").code, 0);
    }
    ASSERT_EQ(hook("Stop", "glass-one", agent.pid()).code, 0);
    ASSERT_EQ(hook("Stop", "glass-two", agent.pid()).code, 0);
    ASSERT_EQ(hook("PermissionRequest", "glass-three", agent.pid(),
                   R"(,"tool_name":"Bash","tool_input":{"command":"make"})")
                  .code,
              0);

    for (const std::string appearance : {"dark", "light"}) {
        SCOPED_TRACE(appearance);
        std::optional<Process> compositor;
        compositor.emplace(
            std::vector<std::string>{"picom", "--config", "/dev/null", "--backend", "xrender"},
            x.environment(), Streams{"/dev/null", "/dev/null", "/dev/null"});
        ASSERT_TRUE(eventually([&] { return compositing(x); }, 15s)) << "picom did not start";

        writeText(home / ".config" / "Ostrelvan" / "Ostrelvan.conf",
                  "[General]\nglass.appearance=" + appearance + "\n");
        const Path log = root / ("desktop-" + appearance + ".log");
        movePointer(x, 10, 10);
        std::optional<Process> under;
        under.emplace(backdrop(x, "black"));
        Process app({OSTRELVAN_DESKTOP}, appEnvironment(x), {"/dev/null", log, log});
        ASSERT_TRUE(eventually(
            [&] { return readText(log).find("widget shown") != std::string::npos; }, 20s))
            << readText(log);
        EXPECT_NE(readText(log).find("no blur behind windows"), std::string::npos) << readText(log);

        const WorkArea area = workArea(x);
        ASSERT_GT(area.height, 0);
        // The three sessions share the agent's window: one group under one header.
        const WidgetMetrics metrics({3}, area.height);
        const int left = area.x + area.width - int(WidgetMetrics::canvasWidth);
        const auto onScreen = [&](const LayoutRect& r) {
            return std::array<int, 4>{left + int(r.x), area.y + area.height - int(r.maxY()),
                                      left + int(r.maxX()) - 1,
                                      area.y + area.height - int(r.y) - 1};
        };
        const auto column = onScreen(metrics.columnRect());
        const auto panel = onScreen(metrics.panelRect());
        // In the canvas and in its hot area, but on no glass: between the panel and the column.
        const int besideX = column[0] - int(WidgetMetrics::panelColumnGap) / 2;
        const int besideY = (panel[1] + panel[3]) / 2;

        // The list opens under the pointer and stays open while it rests on a lamp.
        movePointer(x, (column[0] + column[2]) / 2,
                    area.y + area.height - int(metrics.lampCentreY(0)));
        Screenshot overBlack;
        ASSERT_TRUE(eventually(
            [&] {
                const Screenshot first = screenshot(x);
                if (first.width == 0 || first.at(panel[0] + 30, besideY).r < 12)
                    return false;
                overBlack = screenshot(x);
                return overBlack.pixels == first.pixels; // the panel has settled
            },
            15s))
            << "the list did not open over the black window";
        EXPECT_LT(overBlack.at(besideX, besideY).r, 10);

        under.emplace(backdrop(x, "white"));
        Screenshot overWhite;
        const auto leastOpacity = [&] {
            double least = 1;
            for (int y = panel[1] + 21; y <= panel[3] - 21; ++y)
                for (int px = panel[0] + 21; px <= panel[2] - 21; ++px)
                    least = std::min(
                        least, opacity(pixelOf(overWhite.at(px, y)), pixelOf(overBlack.at(px, y))));
            for (int y = column[1] + 20; y <= column[3] - 20; ++y)
                for (int px = column[0] + 4; px <= column[2] - 4; ++px)
                    least = std::min(
                        least, opacity(pixelOf(overWhite.at(px, y)), pixelOf(overBlack.at(px, y))));
            return least;
        };
        ASSERT_TRUE(eventually(
            [&] {
                overWhite = screenshot(x);
                return overWhite.width > 0 && overWhite.at(besideX, besideY).r > 240 &&
                       overWhite.at(panel[0] - 20, besideY).r > 240;
            },
            15s))
            << "the white window did not come up behind the widget";
        // The glass, pixel by pixel: how much of the change from black to white comes through.
        double least = 0;
        EXPECT_TRUE(eventually(
            [&] {
                overWhite = screenshot(x);
                least = leastOpacity();
                return least >= 0.85;
            },
            10s))
            << "least opacity " << least;
        savePicture(overBlack, "picom-" + appearance + "-over-black");
        savePicture(overWhite, "picom-" + appearance + "-over-white");

        // The name and the status line of each row, over both windows.
        double leastName = 100, leastStatus = 100;
        for (const Screenshot* shot : {&overBlack, &overWhite}) {
            const auto at = [shot](int px, int py) { return pixelOf(shot->at(px, py)); };
            for (int i = 0; i < 3; ++i) {
                const auto row = onScreen(metrics.rowRect(i, 0));
                const double name =
                    textContrast(at, row[0] + 36, row[1] + 4, row[0] + 220, row[1] + 24);
                const double status =
                    textContrast(at, row[0] + 36, row[1] + 29, row[0] + 220, row[3] - 4);
                EXPECT_GE(name, 4.5) << "row " << i;
                EXPECT_GE(status, 3.0) << "row " << i;
                leastName = std::min(leastName, name);
                leastStatus = std::min(leastStatus, status);
            }
        }
        std::printf("%s glass under picom: least opacity %.3f, contrast of names %.2f, of "
                    "status lines %.2f\n",
                    appearance.c_str(), least, leastName, leastStatus);

        // The compositing manager goes away while the app runs.
        ::kill(compositor->pid(), SIGTERM);
        compositor->wait();
        compositor.reset();
        ASSERT_TRUE(eventually([&] { return !compositing(x); }));
        // The see-through canvas beside the column shows the white window, not black, and the
        // glass is drawn solid: the white window does not show through it.
        const auto row = onScreen(metrics.rowRect(0, 0));
        const Pixel solid = appearance == "dark" ? Pixel{50, 50, 50} : Pixel{236, 236, 236};
        Screenshot after;
        const auto at = [&after](int px, int py) { return pixelOf(after.at(px, py)); };
        Pixel glass{};
        EXPECT_TRUE(eventually(
            [&] {
                after = screenshot(x);
                if (after.width == 0)
                    return false;
                glass = commonest(at, panel[0] + 21, panel[1] + 60, panel[2] - 21, panel[3] - 21);
                return after.at(besideX, besideY).r > 240 && after.at(besideX, besideY).b > 240 &&
                       glass == solid;
            },
            10s))
            << "beside the column the canvas shows (" << after.at(besideX, besideY).r << ", "
            << after.at(besideX, besideY).g << ", " << after.at(besideX, besideY).b
            << ") instead of the white window; the glass is (" << glass[0] << ", " << glass[1]
            << ", " << glass[2] << ")\n"
            << readText(log);
        savePicture(after, "uncomposited-" + appearance + "-over-white");
        EXPECT_GE(textContrast(at, row[0] + 36, row[1] + 4, row[0] + 220, row[1] + 24), 4.5);
        EXPECT_GE(textContrast(at, row[0] + 36, row[1] + 29, row[0] + 220, row[3] - 4), 3.0);
        EXPECT_NE(readText(log).find("compositing off"), std::string::npos) << readText(log);

        ::kill(app.pid(), SIGTERM);
        app.wait();
        movePointer(x, 10, 10);
    }
}

// KWin on X11 with OpenGL and its blur effect, on a private Xvfb and session bus.
class KWinSession {
public:
    static bool available() {
        for (const char* program : {"Xvfb", "kwin_x11", "qdbus", "dbus-daemon"})
            if (!onPath(program))
                return false;
        return true;
    }

    KWinSession() {
        const Path announced = scratch_ / "display";
        server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                                 "1280x800x24", "+extension", "GLX", "-nolisten",
                                                 "tcp"},
                        std::nullopt, Streams{"/dev/null", announced});
        if (!eventually([&] { return readText(announced).find('\n') != std::string::npos; }))
            throw std::runtime_error("Xvfb did not start");
        const std::string number = readText(announced);
        display_ = std::string(":").append(number, 0, number.find('\n'));
        const Path address = scratch_ / "bus";
        bus_.emplace(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"},
            std::nullopt, Streams{"/dev/null", address});
        if (!eventually([&] { return readText(address).find('\n') != std::string::npos; }))
            throw std::runtime_error("dbus-daemon did not start");
        const std::string text = readText(address);
        busAddress_ = text.substr(0, text.find('\n'));
        run({"dbus-update-activation-environment", "DISPLAY", "XDG_CURRENT_DESKTOP",
             "KDE_FULL_SESSION", "KDE_SESSION_VERSION"},
            environment());
        kwin_.emplace(std::vector<std::string>{"kwin_x11", "--replace"},
                      environment({{"KWIN_COMPOSE", "O2"}}),
                      Streams{"/dev/null", scratch_ / "kwin.log", scratch_ / "kwin.log"});
        // Its blur effect is not loaded by default on a software renderer.
        if (!eventually(
                [&] {
                    return run({"qdbus", "org.kde.KWin", "/Effects",
                                "org.kde.kwin.Effects.loadEffect", "blur"},
                               environment())
                               .out.find("true") != std::string::npos;
                },
                30s))
            throw std::runtime_error("KWin did not load its blur effect: " +
                                     readText(scratch_ / "kwin.log"));
    }
    KWinSession(const KWinSession&) = delete;
    KWinSession& operator=(const KWinSession&) = delete;
    ~KWinSession() {
        for (auto* process : {&kwin_, &bus_, &server_})
            if (*process) {
                ::kill((*process)->pid(), SIGTERM);
                (*process)->wait();
            }
    }

    Variables environment(Variables more = {}) const {
        Variables result{{"DISPLAY", display_},
                         {"PATH", std::getenv("PATH") ? std::getenv("PATH") : "/usr/bin:/bin"},
                         {"HOME", (scratch_ / "home").string()},
                         {"LANG", "C.UTF-8"},
                         {"DBUS_SESSION_BUS_ADDRESS", busAddress_},
                         {"XDG_CURRENT_DESKTOP", "KDE"},
                         {"KDE_FULL_SESSION", "true"},
                         {"KDE_SESSION_VERSION", "5"}};
        for (auto& [name, value] : more)
            result[name] = std::move(value);
        return result;
    }
    const std::string& display() const { return display_; }

private:
    TempDir scratch_;
    std::string display_;
    std::string busAddress_;
    std::optional<Process> server_;
    std::optional<Process> bus_;
    std::optional<Process> kwin_;
};

// The rectangles (x, y, width, height) of the blur-behind region of the client window that
// process `pid` shows, from the server; none while it has no such window or property.
std::optional<std::vector<std::array<std::uint32_t, 4>>> blurRegionOf(const std::string& display,
                                                                      pid_t pid) {
    xcb_connection_t* c = xcb_connect(display.c_str(), nullptr);
    std::optional<std::vector<std::array<std::uint32_t, 4>>> result;
    xcb_ewmh_connection_t ewmh{};
    if (!xcb_connection_has_error(c) &&
        xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(c, &ewmh), nullptr)) {
        const char* name = "_KDE_NET_WM_BLUR_BEHIND_REGION";
        std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> blur(
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name),
                                  nullptr),
            &std::free);
        xcb_ewmh_get_windows_reply_t clients{};
        if (blur && xcb_ewmh_get_client_list_reply(&ewmh, xcb_ewmh_get_client_list(&ewmh, 0),
                                                   &clients, nullptr) == 1) {
            for (std::uint32_t i = 0; i < clients.windows_len; ++i) {
                std::uint32_t owner = 0;
                if (xcb_ewmh_get_wm_pid_reply(&ewmh, xcb_ewmh_get_wm_pid(&ewmh, clients.windows[i]),
                                              &owner, nullptr) != 1 ||
                    pid_t(owner) != pid)
                    continue;
                std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
                    xcb_get_property_reply(c,
                                           xcb_get_property(c, 0, clients.windows[i], blur->atom,
                                                            XCB_ATOM_CARDINAL, 0, 4096),
                                           nullptr),
                    &std::free);
                if (!reply || reply->type != XCB_ATOM_CARDINAL)
                    continue;
                const auto* values =
                    static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
                const int count = xcb_get_property_value_length(reply.get()) / 4;
                result.emplace();
                for (int k = 0; k + 3 < count; k += 4)
                    result->push_back({values[k], values[k + 1], values[k + 2], values[k + 3]});
            }
            xcb_ewmh_get_windows_reply_wipe(&clients);
        }
        xcb_ewmh_connection_wipe(&ewmh);
    }
    xcb_disconnect(c);
    return result;
}

// The blur-behind region lies within `bounds` (x, y, right, bottom, in the window) and covers
// at least `coverage` of its area.
bool regionFills(const std::vector<std::array<std::uint32_t, 4>>& region,
                 const std::array<int, 4>& bounds, double coverage) {
    long area = 0;
    for (const auto& r : region) {
        if (int(r[0]) < bounds[0] - 1 || int(r[1]) < bounds[1] - 1 ||
            int(r[0] + r[2]) > bounds[2] + 1 || int(r[1] + r[3]) > bounds[3] + 1)
            return false;
        area += long(r[2]) * long(r[3]);
    }
    return area >= coverage * double(bounds[2] - bounds[0]) * double(bounds[3] - bounds[1]);
}

// KWin with its blur effect blurs exactly the glass: the closed column, and the list while it
// is open, never the see-through canvas around them.
TEST_F(DesktopEndToEnd, OnKWinTheBlurCoversTheGlassOnly) {
    if (!KWinSession::available())
        GTEST_SKIP() << "kwin_x11, qdbus, dbus-daemon or Xvfb is not installed";
    KWinSession kde;
    std::filesystem::create_directories(home);
    Process agent({"/bin/sleep", "600"});
    for (const std::string session : {"blur-one", "blur-two"}) {
        ASSERT_EQ(hook("SessionStart", session, agent.pid(), R"(,"source":"startup")").code, 0);
        ASSERT_EQ(hook("UserPromptSubmit", session, agent.pid(), R"(,"prompt":"go")").code, 0);
        ASSERT_EQ(hook("Stop", session, agent.pid()).code, 0);
    }
    const Path log = root / "desktop-kwin.log";
    const Variables environment =
        kde.environment({{"HOME", home.string()},
                         {"XDG_CONFIG_HOME", (home / ".config").string()},
                         {"XDG_RUNTIME_DIR", root.path().string()},
                         {"OSTRELVAN_DATA_DIR", data.string()},
                         {"CLAUDE_CONFIG_DIR", (root / "claude").string()},
                         {"QT_QPA_PLATFORM", "xcb"}});
    run({"xdotool", "mousemove", "10", "10"}, environment);
    Process app({OSTRELVAN_DESKTOP}, environment, {"/dev/null", log, log});
    ASSERT_TRUE(
        eventually([&] { return readText(log).find("widget shown") != std::string::npos; }, 30s))
        << readText(log);
    EXPECT_EQ(readText(log).find("no blur behind windows"), std::string::npos) << readText(log);

    // The canvas is as tall as the screen (KWin alone reserves no panel), in the window's
    // coordinates, y down.
    const WidgetMetrics metrics({2}, 800); // one agent: one group
    const auto inWindow = [](const LayoutRect& r) {
        return std::array<int, 4>{int(r.x), 800 - int(r.maxY()), int(r.maxX()), 800 - int(r.y)};
    };
    const auto column = inWindow(metrics.columnRect());
    auto both = inWindow(metrics.panelRect());
    both[1] = std::min(both[1], column[1]);
    both[2] = column[2];
    both[3] = std::max(both[3], column[3]);

    std::vector<std::array<std::uint32_t, 4>> region;
    const auto describe = [&] {
        std::string text;
        for (const auto& r : region)
            text += std::to_string(r[0]) + "," + std::to_string(r[1]) + " " + std::to_string(r[2]) +
                    "x" + std::to_string(r[3]) + "; ";
        return text;
    };
    const auto regionIs = [&](const std::array<int, 4>& bounds, double coverage) {
        return eventually(
            [&] {
                region = blurRegionOf(kde.display(), app.pid()).value_or(decltype(region){});
                return !region.empty() && regionFills(region, bounds, coverage);
            },
            20s);
    };
    // Closed: the column's capsule and nothing beside it. (Its round ends leave the corners of
    // its box out: a short capsule fills under nine tenths of it.)
    EXPECT_TRUE(regionIs(column, 0.8)) << describe() << "\n" << readText(log);

    // Open: the list too.
    const int lampY = 800 - int(metrics.lampCentreY(0));
    run({"xdotool", "mousemove", std::to_string(878 + (column[0] + column[2]) / 2),
         std::to_string(lampY)},
        environment);
    EXPECT_TRUE(eventually(
        [&] {
            region = blurRegionOf(kde.display(), app.pid()).value_or(decltype(region){});
            return regionFills(region, both, 0.0) &&
                   std::any_of(region.begin(), region.end(),
                               [&](const auto& r) { return int(r[0]) < column[0] - 100; });
        },
        20s))
        << describe();
    long area = 0;
    for (const auto& r : region)
        area += long(r[2]) * long(r[3]);
    const LayoutRect panel = metrics.panelRect();
    EXPECT_GT(area, 0.95 * panel.width * panel.height) << describe();

    // Closed again once the pointer has left: back to the column alone.
    run({"xdotool", "mousemove", "10", "10"}, environment);
    EXPECT_TRUE(regionIs(column, 0.8)) << describe();
}

TEST(DesktopCommandLine, HelpVersionBadArgumentsAndAnOffscreenScreenshot) {
    const Variables environment{{"PATH", "/usr/bin:/bin"}, {"LANG", "C.UTF-8"}};
    const Outcome help = run({OSTRELVAN_DESKTOP, "--help"}, environment);
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.out.rfind("usage: ostrelvan-desktop", 0), 0u) << help.out;
    EXPECT_NE(help.out.find("widget, expanded, empty"), std::string::npos);

    const Outcome version = run({OSTRELVAN_DESKTOP, "--version"}, environment);
    EXPECT_EQ(version.code, 0);
    EXPECT_EQ(version.out, std::string("ostrelvan-desktop ") + OSTRELVAN_VERSION + "\n");

    for (const auto& [arguments, message] :
         std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"--bogus"}, "unknown argument '--bogus'"},
             {{"status"}, "unknown argument 'status'"},
             {{"--design-preview"}, "--design-preview needs a target"},
             {{"--design-preview", "nowhere"}, "unknown design preview target 'nowhere'"},
             {{"--screenshot"}, "--screenshot needs a file"}}) {
        std::vector<std::string> argv{OSTRELVAN_DESKTOP};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        const Outcome bad = run(argv, environment);
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
    const Path picture = temp / "widget.png";
    Variables headless = environment;
    headless["XDG_RUNTIME_DIR"] = temp.path().string();
    headless["OSTRELVAN_PREVIEW_HEIGHT"] = "500";
    const Outcome shot = run({OSTRELVAN_DESKTOP, "--design-preview", "Many", "--screenshot",
                              picture.string(), "--expanded"},
                             headless);
    ASSERT_EQ(shot.code, 0) << shot.err;
    // Read back from outside: the canvas's size, the column's lamps in the colours of the
    // preview's sessions, clear desktop between the column and the open panel, glass in the panel.
    const Path raw = temp / "widget.rgba";
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
    const LayoutRect column = metrics.columnRect();
    const LayoutRect panel = metrics.panelRect();
    std::set<std::string> hues;
    const int lampX = int(column.x + column.width / 2);
    for (int y = 0; y < height; ++y)
        if (channel(lampX, y, 3) == 255)
            hues.insert(
                name(hueOf({channel(lampX, y, 0), channel(lampX, y, 1), channel(lampX, y, 2)})));
    EXPECT_TRUE(hues.count("green") && hues.count("orange") && hues.count("grey"));
    const int gapX = int((panel.x + panel.width + column.x) / 2);
    EXPECT_EQ(channel(gapX, height / 2, 3), 0);
    EXPECT_GT(channel(int(panel.x) + 6, height / 2, 3), 0);

    const Outcome unwritable =
        run({OSTRELVAN_DESKTOP, "--design-preview", "empty", "--screenshot", "/nonexistent/x.png"},
            headless);
    EXPECT_EQ(unwritable.code, 1);
    EXPECT_NE(unwritable.err.find("could not write /nonexistent/x.png"), std::string::npos);
}

} // namespace
} // namespace ostrelvan
