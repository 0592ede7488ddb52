// The real ostrelvan-desktop on a private X server with a window manager, over a data folder that
// the real hook helper writes, looked at from outside through screenshots of the whole screen.
#include "ScreenChanges.h"
#include "ScreenPixels.h"
#include "WidgetMetrics.h"

#include <gtest/gtest.h>

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
    const std::string png = readText(picture);
    ASSERT_GE(png.size(), 24u);
    EXPECT_EQ(png.substr(1, 3), "PNG");
    auto bigEndian = [&](std::size_t at) {
        return (unsigned(static_cast<unsigned char>(png[at])) << 24) |
               (unsigned(static_cast<unsigned char>(png[at + 1])) << 16) |
               (unsigned(static_cast<unsigned char>(png[at + 2])) << 8) |
               unsigned(static_cast<unsigned char>(png[at + 3]));
    };
    EXPECT_EQ(bigEndian(16), 402u);
    EXPECT_EQ(bigEndian(20), 500u);

    const Outcome unwritable =
        run({OSTRELVAN_DESKTOP, "--design-preview", "empty", "--screenshot", "/nonexistent/x.png"},
            headless);
    EXPECT_EQ(unwritable.code, 1);
    EXPECT_NE(unwritable.err.find("could not write /nonexistent/x.png"), std::string::npos);
}

} // namespace
} // namespace ostrelvan
