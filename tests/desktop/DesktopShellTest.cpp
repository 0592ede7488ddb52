// The real ostrelvan-desktop on a private X server with openbox, looked at as the desktop around
// it sees it: the window manager's view of its windows (xprop, xwininfo), a StatusNotifierItem
// host's view of its tray menu (kded5's StatusNotifierWatcher on a private session bus) and a
// screen reader's view of its settings window (AT-SPI).
#include "GnomeShell.h"
#include "app/widgetmodel/WidgetMetrics.h"

#include <gtest/gtest.h>
#include <sstream>

namespace ostrelvan {
namespace {

using namespace test;
using namespace std::chrono_literals;

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

std::string joined(const std::vector<std::string>& entries) {
    std::string text;
    for (const auto& entry : entries)
        text += entry + "\n";
    return text;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The menu of a fresh user, not connected yet, as every place that shows it must list it.
const std::vector<std::string> freshMenu{
    "Connect to Claude Code",
    "-",
    "[x] Sounds",
    "[ ] Launch at Login",
    "-",
    "Settings…",
    "-",
    "Tip: the first click asks VS Code to allow the Claude link once. Tick \"Do not ask me "
    "again\". (off)",
    "-",
    "Restart Ostrelvan",
    "Quit Ostrelvan",
};

// The same menu as a screen reader hears it: Qt does not say that an unticked entry can be ticked.
std::vector<std::string> asHeard(std::vector<std::string> menu) {
    for (auto& entry : menu)
        if (entry.rfind("[ ] ", 0) == 0)
            entry.erase(0, 4);
    return menu;
}

// Either desktop as the helpers below see it: its X display and its whole screen.
Screenshot screenOf(const XSession& x) {
    return screenshot(x);
}
Screenshot screenOf(const GnomeShell& gnome) {
    return gnome.screenshot();
}
WorkArea workAreaOf(const XSession& x) {
    return workArea(x);
}
WorkArea workAreaOf(const GnomeShell& gnome) {
    return gnome.workArea();
}

// Whether a popup window (a menu) of process `pid` is on screen.
template <class Desktop> bool popupShown(const Desktop& x, pid_t pid) {
    const Outcome found =
        run({"xdotool", "search", "--onlyvisible", "--pid", std::to_string(pid)}, x.environment());
    for (const auto& window : lines(found.out))
        if (contains(run({"xwininfo", "-id", window}, x.environment()).out,
                     "Override Redirect State: yes"))
            return true;
    return false;
}

class DesktopShell : public ::testing::Test {
protected:
    TempDir root;
    Path data = root / "data";
    Path home = root / "home";
    Path log = root / "desktop.log";

    template <class Desktop> Variables appEnvironment(const Desktop& x, Variables more = {}) const {
        Variables environment{{"HOME", home.string()},
                              {"PATH", "/usr/bin:/bin"},
                              {"XDG_CONFIG_HOME", (home / ".config").string()},
                              {"XDG_RUNTIME_DIR", root.path().string()},
                              {"OSTRELVAN_DATA_DIR", data.string()},
                              {"CLAUDE_CONFIG_DIR", (root / "claude").string()},
                              {"QT_QPA_PLATFORM", "xcb"}};
        for (auto& [name, value] : more)
            environment[name] = std::move(value);
        return x.environment(environment);
    }

    // A session at work, so that one lamp shows.
    void startSession(pid_t agent) const {
        const Variables environment{{"OSTRELVAN_DATA_DIR", data.string()},
                                    {"PATH", "/usr/bin:/bin"},
                                    {"CLAUDE_PID", std::to_string(agent)},
                                    {"CLAUDE_CODE_ENTRYPOINT", "cli"}};
        for (const auto& [event, extra] :
             {std::pair{"SessionStart", R"(,"source":"startup")"},
              std::pair{"UserPromptSubmit", R"(,"prompt":"run the tests")"}})
            ASSERT_EQ(run({OSTRELVAN_HOOK}, environment, payload(event, "shell-e2e", extra)).code,
                      0);
    }

    bool shown() const { return contains(readText(log), "widget shown"); }

    // Where the metrics put the one lamp: the canvas hugs the right edge of the work area and is
    // as tall as it; y turns from the canvas's upwards to the screen's downwards.
    template <class Desktop> static std::pair<int, int> lampCentre(const Desktop& x) {
        const WorkArea area = workAreaOf(x);
        const WidgetMetrics metrics({1}, area.height);
        const LayoutRect column = metrics.columnRect();
        return {area.x + area.width - int(WidgetMetrics::canvasWidth) +
                    int(column.x + column.width / 2),
                area.y + area.height - int(metrics.lampCentreY(0))};
    }
};

template <class Desktop>
std::string xprop(const Desktop& x, const std::string& window, const std::string& property) {
    return run({"xprop", "-id", window, property}, x.environment()).out;
}

// The windows the window manager manages for process `pid`, with their titles.
template <class Desktop>
std::map<std::string, std::string> managedWindows(const Desktop& x, pid_t pid) {
    std::map<std::string, std::string> windows;
    const std::string list = run({"xprop", "-root", "_NET_CLIENT_LIST"}, x.environment()).out;
    std::istringstream in(
        list.substr(list.find('#') == std::string::npos ? list.size() : list.find('#') + 1));
    for (std::string id; std::getline(in >> std::ws, id, ',');) {
        if (!contains(xprop(x, id, "_NET_WM_PID"), "= " + std::to_string(pid)))
            continue;
        const std::string name = xprop(x, id, "_NET_WM_NAME");
        const auto quote = name.find('"');
        windows[id] =
            quote == std::string::npos ? "" : name.substr(quote + 1, name.rfind('"') - quote - 1);
    }
    return windows;
}

template <class Desktop>
std::optional<std::string> windowNamed(const Desktop& x, pid_t pid, const std::string& title) {
    for (const auto& [id, name] : managedWindows(x, pid))
        if (name == title)
            return id;
    return std::nullopt;
}

template <class Desktop> bool viewable(const Desktop& x, const std::string& window) {
    return contains(run({"xwininfo", "-id", window}, x.environment()).out, "IsViewable");
}

std::optional<std::uint32_t> currentDesktop(const Variables& environment) {
    const std::string value = run({"xprop", "-root", "_NET_CURRENT_DESKTOP"}, environment).out;
    const auto equals = value.find("= ");
    if (equals == std::string::npos)
        return std::nullopt;
    return std::uint32_t(std::stoul(value.substr(equals + 2)));
}

// The widget of the running app on `x`: on every workspace in `workspaces` its lamp shows, and its
// window's state keeps it out of task bars and pagers (`sticky` where the window manager says
// so in that state). No window of the app names a parent the window manager cannot find.
template <class Desktop>
void expectOnEveryWorkspace(const Desktop& x, pid_t app, std::pair<int, int> lamp,
                            const std::vector<std::uint32_t>& workspaces, bool sticky) {
    std::optional<std::string> widget;
    ASSERT_TRUE(
        eventually([&] { return (widget = windowNamed(x, app, "Ostrelvan")).has_value(); }, 20s))
        << "the window manager manages no widget window";
    // Asked for before the window was mapped, so the window manager took it on at once.
    const std::string state = xprop(x, *widget, "_NET_WM_STATE");
    EXPECT_TRUE(contains(state, "_NET_WM_STATE_SKIP_TASKBAR")) << state;
    EXPECT_TRUE(contains(state, "_NET_WM_STATE_SKIP_PAGER")) << state;
    if (sticky) {
        EXPECT_TRUE(contains(state, "_NET_WM_STATE_STICKY")) << state;
    }
    EXPECT_TRUE(contains(xprop(x, *widget, "_NET_WM_DESKTOP"), "= 4294967295"))
        << xprop(x, *widget, "_NET_WM_DESKTOP");
    for (const auto& [id, name] : managedWindows(x, app)) {
        const std::string parent = xprop(x, id, "WM_TRANSIENT_FOR");
        if (!contains(parent, "not found")) {
            const auto hash = parent.find('#');
            ASSERT_NE(hash, std::string::npos) << parent;
            EXPECT_TRUE(viewable(x, parent.substr(hash + 2, parent.find('\n') - hash - 2)))
                << name << " is transient for a window that is not shown: " << parent;
        }
    }

    const auto [lampX, lampY] = lamp;
    auto lampIsGreen = [&] {
        return eventually(
            [&] {
                const Screenshot shot = screenOf(x);
                if (shot.width <= lampX || shot.height <= lampY)
                    return false;
                const Rgb c = shot.at(lampX, lampY);
                return c.g > c.r + 40 && c.g > c.b + 20;
            },
            10s);
    };
    ASSERT_TRUE(lampIsGreen()) << "no green lamp on the first workspace";
    for (std::uint32_t desktop : workspaces) {
        run({"xdotool", "set_desktop", std::to_string(desktop)}, x.environment());
        ASSERT_TRUE(eventually([&] { return currentDesktop(x.environment()) == desktop; }))
            << "the window manager did not go to workspace " << desktop;
        EXPECT_TRUE(viewable(x, *widget)) << "the widget is hidden on workspace " << desktop;
        EXPECT_TRUE(lampIsGreen()) << "no green lamp on workspace " << desktop;
    }
}

TEST_F(DesktopShell, TheLampsStayOnEveryWorkspaceAndOutOfTaskBars) {
    for (const char* program : {"Xvfb", "openbox", "xprop", "xwininfo", "xdotool", "import"})
        if (!onPath(program))
            GTEST_SKIP() << program << " is not installed";
    XSession x;
    std::filesystem::create_directories(home);
    Process agent({"/bin/sleep", "600"});
    startSession(agent.pid());
    movePointer(x, 10, 10);
    Process app({OSTRELVAN_DESKTOP}, appEnvironment(x), {"/dev/null", log, log});
    ASSERT_TRUE(eventually([&] { return shown(); }, 20s)) << readText(log);
    // openbox knows no sticky state; it keeps the window on desktop "all" instead.
    expectOnEveryWorkspace(x, app.pid(), lampCentre(x), {1, 3}, false);
}

// The same on GNOME Shell's X11 session, whose mutter also logs any window that names a parent it
// cannot find.
TEST_F(DesktopShell, OnGnomeShellTheLampsStayOnEveryWorkspace) {
    if (!GnomeShell::available() || !XSession::available())
        GTEST_SKIP() << "gnome-shell or Xvfb is not installed";
    GnomeShell gnome(GnomeShell::Mode::x11);
    std::filesystem::create_directories(home);
    Process agent({"/bin/sleep", "600"});
    startSession(agent.pid());
    gnome.movePointer(10, 400);
    // On the shell's session bus, as in a GNOME session.
    Process app({OSTRELVAN_DESKTOP}, appEnvironment(gnome), {"/dev/null", log, log});
    ASSERT_TRUE(eventually([&] { return shown(); }, 30s)) << readText(log);
    // GNOME keeps one empty workspace after the last one in use: there are two.
    expectOnEveryWorkspace(gnome, app.pid(), lampCentre(gnome), {1}, true);
    EXPECT_FALSE(contains(gnome.log(), "WM_TRANSIENT_FOR")) << gnome.log();
}

// A session bus with kded5's StatusNotifierWatcher and the accessibility bus on it, as a KDE or
// XFCE session has: Qt then exports the tray item and its menu over D-Bus, and its accessibility
// bridge answers a screen reader.
class SessionBus {
public:
    static std::optional<std::string> missing() {
        for (const char* program : {"dbus-daemon", "kded5", "gdbus"})
            if (!onPath(program))
                return program;
        if (!std::filesystem::exists(starter))
            return starter;
        return std::nullopt;
    }

    explicit SessionBus(const XSession& x, const Path& folder)
        : address_("unix:path=" + (folder / "bus").string()),
          environment_(x.environment({{"DBUS_SESSION_BUS_ADDRESS", address_},
                                      {"XDG_RUNTIME_DIR", folder.string()},
                                      {"HOME", (folder / "home").string()},
                                      {"QT_QPA_PLATFORM", "offscreen"}})) {
        daemon_.emplace(std::vector<std::string>{"dbus-daemon", "--session", "--nofork",
                                                 "--address=" + address_},
                        environment_);
        if (!eventually([&] { return std::filesystem::exists(folder / "bus"); }))
            throw std::runtime_error("the session bus did not start");
        kded_.emplace(std::vector<std::string>{"kded5"}, environment_,
                      Streams{"/dev/null", folder / "kded.log", folder / "kded.log"});
        // Outside a Plasma session kded loads the watcher only when asked.
        if (!eventually(
                [&] {
                    return contains(run({"gdbus", "call", "--session", "--dest", "org.kde.kded5",
                                         "--object-path", "/kded", "--method",
                                         "org.kde.kded5.loadModule", "statusnotifierwatcher"},
                                        environment_)
                                        .out,
                                    "true");
                },
                20s))
            throw std::runtime_error("kded5 did not load its StatusNotifierWatcher");
        accessibility_.emplace(std::vector<std::string>{starter, "--launch-immediately"},
                               environment_);
    }
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;
    // Asked to stop, so that the accessibility bus goes with its starter.
    ~SessionBus() {
        for (auto* process : {&accessibility_, &kded_, &daemon_}) {
            if (*process) {
                ::kill((*process)->pid(), SIGTERM);
                (*process)->wait();
            }
        }
    }

    const std::string& address() const { return address_; }

    // The probe's answer, a line an entry; empty when it failed, and then `lastError` says why.
    std::vector<std::string> probe(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"/usr/bin/python3", OSTRELVAN_PROBE});
        const Outcome out = run(arguments, environment_);
        lastError = out.code == 0 ? "" : out.err + "(exit " + std::to_string(out.code) + ")";
        return out.code == 0 ? lines(out.out) : std::vector<std::string>{};
    }
    mutable std::string lastError;

private:
    static constexpr const char* starter = "/usr/libexec/at-spi-bus-launcher";
    std::string address_;
    Variables environment_;
    std::optional<Process> daemon_;
    std::optional<Process> kded_;
    std::optional<Process> accessibility_;
};

// The entries of a layout ("ID<TAB>entry"), and the id of one of them.
std::vector<std::string> entries(const std::vector<std::string>& layout) {
    std::vector<std::string> result;
    for (const auto& line : layout)
        result.push_back(line.substr(line.find('\t') + 1));
    return result;
}

std::string idOf(const std::vector<std::string>& layout, const std::string& entry) {
    for (const auto& line : layout)
        if (line.substr(line.find('\t') + 1) == entry)
            return line.substr(0, line.find('\t'));
    return "";
}

std::string desktopEntryValue(const std::string& key) {
    for (const auto& line : lines(readText(OSTRELVAN_DESKTOP_ENTRY)))
        if (line.rfind(key + "=", 0) == 0)
            return line.substr(key.size() + 1);
    return "";
}

TEST_F(DesktopShell, OneMenuEverywhereAndASettingsWindowForEveryone) {
    for (const char* program : {"Xvfb", "openbox", "xprop", "xdotool", "/usr/bin/python3"})
        if (!onPath(program) && !std::filesystem::exists(program))
            GTEST_SKIP() << program << " is not installed";
    if (const auto program = SessionBus::missing())
        GTEST_SKIP() << *program << " is not installed";
    if (run({"/usr/bin/python3", "-c", "import gi, pyatspi"}, Variables{}).code != 0)
        GTEST_SKIP() << "python3-gi or python3-pyatspi is not installed";
    XSession x;
    SessionBus bus(x, root.path());
    std::filesystem::create_directories(home);
    Process agent({"/bin/sleep", "600"});
    startSession(agent.pid());
    movePointer(x, 10, 10);
    Process app({OSTRELVAN_DESKTOP},
                appEnvironment(x, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()},
                                   {"QT_ACCESSIBILITY", "1"},
                                   {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}}),
                {"/dev/null", log, log});
    ASSERT_TRUE(eventually([&] { return shown(); }, 20s)) << readText(log);

    // The host's view: one item, whose exported menu lists every entry in order, with no
    // shortcut texts.
    std::vector<std::string> items;
    ASSERT_TRUE(eventually([&] { return !(items = bus.probe({"items"})).empty(); }, 20s))
        << "no StatusNotifierItem registered\n"
        << bus.lastError << readText(log);
    ASSERT_EQ(items.size(), 1u) << joined(items);
    const std::vector<std::string> layout = bus.probe({"layout", items[0]});
    EXPECT_EQ(joined(entries(layout)), joined(freshMenu)) << bus.lastError;

    // A left click shows that very menu, not another one.
    const std::string pid = std::to_string(app.pid());
    bus.probe({"activate", items[0]});
    ASSERT_EQ(bus.lastError, "");
    ASSERT_TRUE(eventually([&] { return popupShown(x, app.pid()); }, 15s))
        << "no menu after a left click";
    EXPECT_EQ(joined(bus.probe({"menu", pid})), joined(asHeard(freshMenu))) << bus.lastError;
    run({"xdotool", "key", "Escape"}, x.environment());
    ASSERT_TRUE(eventually([&] { return !popupShown(x, app.pid()); })) << "the menu stayed open";

    // The widget's own menu, a right click on its lamp away: the same entries again.
    const auto [lampX, lampY] = lampCentre(x);
    run({"xdotool", "mousemove", std::to_string(lampX), std::to_string(lampY), "click", "3"},
        x.environment());
    ASSERT_TRUE(eventually([&] { return popupShown(x, app.pid()); }, 15s))
        << "no menu after a right click on the lamp";
    EXPECT_EQ(joined(bus.probe({"menu", pid})), joined(asHeard(freshMenu))) << bus.lastError;
    run({"xdotool", "key", "Escape"}, x.environment());
    movePointer(x, 10, 10);
    ASSERT_TRUE(eventually([&] { return !popupShown(x, app.pid()); })) << "the menu stayed open";

    // "Settings…" chosen in the host's menu opens a window that carries the app's icon and
    // names the desktop entry it belongs to.
    const std::string settingsId = idOf(layout, "Settings…");
    ASSERT_FALSE(settingsId.empty());
    bus.probe({"click", items[0], settingsId});
    std::optional<std::string> settings;
    ASSERT_TRUE(eventually(
        [&] { return (settings = windowNamed(x, app.pid(), "Ostrelvan Settings")).has_value(); },
        15s))
        << "no settings window\n"
        << bus.lastError << readText(log);
    const std::string icon = xprop(x, *settings, "_NET_WM_ICON");
    for (const char* size : {"16 x 16", "32 x 32", "48 x 48"})
        EXPECT_TRUE(contains(icon, std::string("Icon (") + size + ")")) << icon.substr(0, 200);
    EXPECT_EQ(xprop(x, *settings, "WM_CLASS"), "WM_CLASS(STRING) = \"ostrelvan-desktop\", \"" +
                                                   desktopEntryValue("StartupWMClass") + "\"\n");

    // A screen reader's view: every control has a name and a label where the eye sees one (a
    // combo box is named by its choice), and the sliders and switches work.
    std::vector<std::string> controls;
    ASSERT_TRUE(eventually(
        [&] {
            return !(controls = bus.probe({"controls", pid, "Ostrelvan Settings"})).empty();
        },
        15s))
        << bus.lastError;
    for (const auto& line : controls)
        EXPECT_EQ(line.find("\t\t"), std::string::npos) << "a control without a name: " << line;
    // The label a control's line ends with is its own (a slider's) or its group's.
    for (const char* control :
         {"slider\tTint\tTint", "slider\tBlur\tBlur",
          "combo box\tAfter 10 minutes\tReview lamp fades", "check box\tText contrast\tGlass",
          "push button\tReset to Defaults\tGlass", "check box\tDark\t"})
        EXPECT_NE(std::find(controls.begin(), controls.end(), control), controls.end())
            << control << " is missing from\n"
            << joined(controls);

    const Path file = home / ".config" / "Ostrelvan" / "Ostrelvan.conf";
    EXPECT_EQ(joined(bus.probe({"set-value", pid, "Tint", "45"})), "45\n") << bus.lastError;
    EXPECT_TRUE(eventually([&] { return contains(readText(file), "tintOpacity=0.45"); }))
        << readText(file);
    // On by default.
    EXPECT_FALSE(contains(readText(file), "textContrast=false"));
    bus.probe({"act", pid, "Text contrast"});
    EXPECT_TRUE(eventually([&] { return contains(readText(file), "textContrast=false"); }))
        << bus.lastError << readText(file);
    EXPECT_EQ(::kill(app.pid(), 0), 0) << "ostrelvan-desktop died\n" << readText(log);
}

} // namespace
} // namespace ostrelvan
