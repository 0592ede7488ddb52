#pragma once

// The real ostrelvan-desktop on one of the desktops of DesktopScene.h, over a home and data folder
// of its own that the real hook helper writes for a live agent, and where the widget's metrics put
// its lamps and list on the screen. Test targets define OSTRELVAN_DESKTOP and OSTRELVAN_HOOK.
#include "ScreenPixels.h"
#include "app/widgetmodel/WidgetMetrics.h"

#include <array>
#include <gtest/gtest.h>

namespace ostrelvan::test {

using namespace std::chrono_literals;

enum class Hue { green, orange, other };

// What a person would call the colour, whatever the gem's highlight and shading do to it.
inline Hue hueOf(Rgb c) {
    if (c.g > c.r + 40 && c.g > c.b + 20)
        return Hue::green;
    return c.r > c.g + 30 && c.g > c.b + 30 ? Hue::orange : Hue::other;
}

inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// How a failing test names its desktop.
inline void PrintTo(Shell shell, std::ostream* out) {
    *out << std::array{"openbox", "gnomeX11", "gnomeWayland", "kwinX11", "kwinWayland"}[int(shell)];
}

class DesktopBed {
public:
    // `groupSizes` are the sessions the widget will show, by agent.
    explicit DesktopBed(Shell shell = Shell::openbox, std::vector<int> groupSizes = {1})
        : x(shell) {
        std::filesystem::create_directories(home);
        // The window manager publishes the work area a moment after it starts managing.
        if (!eventually([&] { return (area = workArea(x)).height > 0; }, 20s))
            throw std::runtime_error("no work area on the root window");
        metrics = WidgetMetrics(groupSizes, area.height);
        pointAway();
    }

    // The real helper, as Claude Code runs it for the agent.
    Outcome hook(const std::string& event, const std::string& session,
                 const std::string& extra = "") const {
        return run({OSTRELVAN_HOOK},
                   Variables{{"OSTRELVAN_DATA_DIR", data.string()},
                             {"PATH", "/usr/bin:/bin"},
                             {"CLAUDE_PID", std::to_string(agent.pid())},
                             {"CLAUDE_CODE_ENTRYPOINT", "cli"}},
                   payload(event, session, extra));
    }
    // A session at work: started, and asked something.
    ::testing::AssertionResult startWorking(const std::string& session) const {
        for (const auto& [event, extra] :
             {std::pair{"SessionStart", R"(,"source":"startup")"},
              std::pair{"UserPromptSubmit", R"(,"prompt":"run the tests")"}})
            if (const Outcome out = hook(event, session, extra); out.code != 0)
                return ::testing::AssertionFailure() << "the hook helper failed: " << out.err;
        return ::testing::AssertionSuccess();
    }
    void settings(const std::string& lines) const {
        writeText(home / ".config/Ostrelvan/Ostrelvan.conf", "[General]\n" + lines + "\n");
    }

    Variables appEnvironment(Variables more = {}) const {
        Variables app{{"HOME", home.string()},
                      {"PATH", "/usr/bin:/bin"},
                      {"XDG_CONFIG_HOME", (home / ".config").string()},
                      {"XDG_RUNTIME_DIR", root.path().string()},
                      {"OSTRELVAN_DATA_DIR", data.string()},
                      {"CLAUDE_CONFIG_DIR", (root / "claude").string()}};
        for (auto& [name, value] : more)
            app[name] = std::move(value);
        return x.environment(app);
    }
    // Starts the app and waits for its widget, and for its lamps when there are sessions; then
    // takes the screen with the list closed.
    ::testing::AssertionResult startApp(Variables more = {}) {
        bare = settledScreen(x);
        app.emplace(std::vector<std::string>{OSTRELVAN_DESKTOP}, appEnvironment(std::move(more)),
                    Streams{"/dev/null", log, log});
        if (!eventually([&] { return contains(appLog(), "widget shown"); }, 30s))
            return ::testing::AssertionFailure() << "no widget\n" << appLog();
        // Through X11 on every desktop, Wayland's too.
        if (!contains(appLog(), "platform xcb"))
            return ::testing::AssertionFailure() << "not on X11\n" << appLog();
        const bool sessions = std::filesystem::exists(data / "sessions") &&
                              !std::filesystem::is_empty(data / "sessions");
        const ScreenRect canvas = onScreen({0, 0, WidgetMetrics::canvasWidth, double(area.height)});
        if (sessions &&
            !eventually([&] { return changedPixels(bare, screenshot(x), canvas) > 50; }, 20s))
            return ::testing::AssertionFailure() << "no lamps\n" << appLog();
        closed = settledScreen(x);
        return ::testing::AssertionSuccess();
    }
    std::string appLog() const { return readText(log); }
    bool appAlive() const { return app && ::kill(app->pid(), 0) == 0; }

    // A rectangle of the canvas (y up), on the screen (y down): the canvas hugs the right edge of
    // the work area and is as tall as it.
    ScreenRect onScreen(const LayoutRect& r) const {
        return {area.x + area.width - int(WidgetMetrics::canvasWidth) + int(r.x),
                area.y + area.height - int(r.maxY()), int(r.width), int(r.height)};
    }
    std::pair<int, int> lamp() const {
        const ScreenRect column = onScreen(metrics.columnRect());
        return {column.x + column.width / 2, area.y + area.height - int(metrics.lampCentreY(0))};
    }
    void pointAtLamp() const { movePointer(x, lamp().first, lamp().second); }
    // Far from the widget, which would otherwise open, and from GNOME's hot corner.
    std::pair<int, int> away() const { return {100, area.y + area.height / 2}; }
    void pointAway() const { movePointer(x, away().first, away().second); }
    Rgb lampColour() const {
        const Screenshot shot = screenshot(x);
        const auto [px, py] = lamp();
        return shot.width > px && shot.height > py ? shot.at(px, py) : Rgb{};
    }
    // Whether the list comes to be open, or closed as it was at the start, by the left part of
    // where it opens: clear of any tool tip by the lamps, and of the title bar of a window below.
    // Closed has to hold on two pictures in a row, so that a frame caught mid-repaint does not
    // pass for the settled screen.
    bool listOpen(bool open) const {
        ScreenRect list = onScreen(metrics.panelRect());
        list = {list.x, list.y + 30, list.width * 2 / 5, list.height - 40};
        int matches = 0;
        return eventually(
            [&] {
                const int changed = changedPixels(closed, screenshot(x), list);
                matches = changed >= 0 && changed < 20 ? matches + 1 : 0;
                return open ? changed > 200 : matches >= 2;
            },
            15s);
    }

    // The app's window titled `title`, once it is shown.
    std::optional<std::string> appWindow(const std::string& title) const {
        std::string found;
        eventually(
            [&] {
                found = run({"xdotool", "search", "--all", "--onlyvisible", "--pid",
                             std::to_string(app->pid()), "--name", "^" + title + "$"},
                            x.environment())
                            .out;
                return !found.empty();
            },
            20s);
        return found.empty() ? std::nullopt : std::optional(found.substr(0, found.find('\n')));
    }
    std::string xprop(const std::string& window, const std::string& property) const {
        return run({"xprop", "-id", window, property}, x.environment()).out;
    }

    XSession x;
    TempDir root;
    Path data = root / "data";
    Path home = root / "home";
    Path log = root / "desktop.log";
    Process agent{{"/bin/sleep", "600"}};
    ScreenRect area;
    WidgetMetrics metrics;
    std::optional<Process> app;
    // The screen before the app ran, and with the app running and its list closed.
    Screenshot bare, closed;
};

// Skips the test when the machine lacks a program it needs: XSession::missing's arguments.
#define SKIP_WITHOUT(...)                                                                          \
    if (const std::string program = XSession::missing(__VA_ARGS__); !program.empty())              \
    GTEST_SKIP() << program << " is not installed"

} // namespace ostrelvan::test
