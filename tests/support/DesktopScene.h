#pragma once

// A real desktop on a private Xvfb display, for end-to-end tests: openbox, GNOME Shell (the window
// manager of the display, or a Wayland compositor nested in it whose XWayland serves X11 clients)
// or KWin (with its blur effect on X11, or nested on Wayland). The Xvfb display is the outer one:
// xdotool there moves the real pointer, and its screenshots show the whole desktop. Every desktop
// gets a home, a runtime folder and (openbox alone none) buses of its own, so that nothing reaches
// the user's.
#include "TestSupport.h"
#include "core/SessionFileStore.h"

#include <cstdlib>
#include <sstream>

namespace ostrelvan::test {

// A command line split at its spaces.
inline std::vector<std::string> words(const std::string& line) {
    std::vector<std::string> result;
    std::istringstream in(line);
    for (std::string word; in >> word;)
        result.push_back(word);
    return result;
}

enum class Shell { openbox, gnomeX11, gnomeWayland, kwinX11, kwinWayland };

class XSession {
public:
    static constexpr int width = 1280, height = 800;

    // The first program `shell` (or the test, in `more`) needs that the machine lacks; empty when
    // none is missing.
    static std::string missing(Shell shell = Shell::openbox, const std::string& more = "") {
        const char* desktop[] = {"openbox xterm tmux", "gnome-shell gdbus unshare zenity",
                                 "gnome-shell gdbus unshare zenity", "kwin_x11 qdbus",
                                 "kwin_wayland xterm zenity qdbus"};
        for (const auto& program : words("Xvfb xdotool xprop xwininfo import dbus-daemon " +
                                         std::string(desktop[int(shell)]) + " " + more))
            if (run({"sh", "-c", "command -v \"$0\"", program}, std::nullopt).code != 0)
                return program;
        return "";
    }

    explicit XSession(Shell shell = Shell::openbox) : shell_(shell) {
        if (const std::string program = missing(shell); !program.empty())
            throw std::runtime_error(program + " is not installed");
        std::filesystem::create_directories(scratch() / "home");
        std::filesystem::create_directories(scratch() / "run");
        std::filesystem::permissions(scratch() / "run", std::filesystem::perms::owner_all);
        try {
            start();
        } catch (...) {
            stop();
            throw;
        }
    }
    ~XSession() { stop(); }

    Shell shell() const { return shell_; }
    const Path& scratch() const { return scratch_.path(); }
    // Where X11 clients go: XWayland's display on a Wayland desktop, else the Xvfb one.
    const std::string& display() const { return display_; }
    // The desktop's own messages so far.
    std::string log() const { return readText(scratch() / "desktop.log"); }

    // What a program on this desktop gets: its buses (none on plain openbox), a home of its own,
    // and on Wayland both displays, as in a real session.
    Variables environment(Variables more = {}) const {
        Variables result{{"DISPLAY", display_},
                         {"PATH", std::getenv("PATH") ? std::getenv("PATH") : "/usr/bin:/bin"},
                         {"HOME", scratch() / "home"},
                         {"LANG", "C.UTF-8"},
                         {"DBUS_SESSION_BUS_ADDRESS", "disabled:"}};
        for (const auto& variables : {session_, more})
            for (const auto& [name, value] : variables)
                result[name] = value;
        return result;
    }
    // The same on the outer display.
    Variables outerEnvironment() const {
        Variables outer = environment({{"DISPLAY", outer_}});
        outer.erase("XAUTHORITY");
        return outer;
    }

    // A session bus with kded5's StatusNotifierWatcher and the accessibility bus on it, as a
    // KDE or XFCE session has: Qt then exports a tray item and its menu over D-Bus, and its
    // accessibility bridge answers a screen reader.
    void startTrayHost() {
        session_["DBUS_SESSION_BUS_ADDRESS"] = startBus("the session bus");
        session_["XDG_RUNTIME_DIR"] = scratch() / "run";
        spawn({"kded5"}, {}, environment({{"QT_QPA_PLATFORM", "offscreen"}}));
        // Outside a Plasma session kded loads the watcher only when asked.
        if (!saysTrue("gdbus call --session --dest org.kde.kded5 --object-path /kded --method "
                      "org.kde.kded5.loadModule statusnotifierwatcher"))
            throw std::runtime_error("kded5 did not load its StatusNotifierWatcher");
        spawn({"/usr/libexec/at-spi-bus-launcher", "--launch-immediately"});
    }

    // A number the window manager publishes on the root window, or on `window`.
    std::optional<std::uint32_t> property(const std::string& name,
                                          const std::string& window = "") const {
        const std::string where = window.empty() ? "-root " : "-id " + window + " ";
        const std::string out = run(words("xprop " + where + name), environment()).out;
        const auto at = out.find_first_of("=#");
        if (at == std::string::npos || out.find_first_of("0123456789", at) == std::string::npos)
            return std::nullopt;
        return std::uint32_t(
            std::stoul(out.substr(out.find_first_of("0123456789", at)), nullptr, 0));
    }
    // The window manager or compositor quits; the display and the buses stay. Like every process
    // here it is asked to stop rather than killed, so that servers remove their sockets and
    // locks, and given a while to go; the Process then kills what is left.
    void stopLast() {
        Process& process = processes_.back();
        ::kill(process.pid(), SIGTERM);
        if (eventually([&] { return !processRuns(process.pid()); }))
            process.wait();
        processes_.pop_back();
    }
    // The pid of the active window's owner; none while no X11 window is active.
    std::optional<std::int32_t> activePid() const {
        const auto window = property("_NET_ACTIVE_WINDOW");
        if (!window || *window == 0)
            return std::nullopt;
        const auto pid = property("_NET_WM_PID", std::to_string(*window));
        return pid ? std::optional(std::int32_t(*pid)) : std::nullopt;
    }
    std::optional<std::uint32_t> currentDesktop() const { return property("_NET_CURRENT_DESKTOP"); }
    void setCurrentDesktop(std::uint32_t desktop) const {
        run({"xdotool", "set_desktop", std::to_string(desktop)}, environment());
    }

private:
    using Seconds = std::chrono::seconds;

    void start() {
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        const bool glx = shell_ == Shell::kwinX11;
        spawn(words("Xvfb -displayfd 1 -nolisten tcp -screen 0 " + size + "x24" +
                    (glx ? " +extension GLX" : "")),
              scratch() / "display");
        outer_ = display_ = ":" + firstLine(scratch() / "display", "Xvfb");
        switch (shell_) {
        case Shell::openbox:
            spawn({"openbox"});
            if (!eventually([&] { return managed(); }))
                throw std::runtime_error("openbox did not start");
            return;
        case Shell::gnomeX11:
        case Shell::gnomeWayland:
            return startGnome(size);
        case Shell::kwinX11:
            return startKWinX11();
        case Shell::kwinWayland:
            return startKWinWayland();
        }
    }

    void startGnome(const std::string& size) {
        const bool wayland = shell_ == Shell::gnomeWayland;
        session_ = {{"XDG_RUNTIME_DIR", scratch() / "run"},
                    {"XDG_CURRENT_DESKTOP", "GNOME"},
                    {"XDG_SESSION_TYPE", wayland ? "wayland" : "x11"}};
        // The buses start services (dconf among them) that write under HOME: the session's own.
        session_["DBUS_SESSION_BUS_ADDRESS"] = startBus("the session bus");
        // Nothing the shell asks of the system bus has to answer; it has to be there.
        Variables variables =
            environment({{"DBUS_SYSTEM_BUS_ADDRESS", startBus("the system bus")}});
        auto argv =
            words(wayland ? "gnome-shell --nested --wayland" : "gnome-shell --x11 --replace");
        if (wayland)
            variables["MUTTER_DEBUG_DUMMY_MODE_SPECS"] = size;
        // Without a login session the shell would look for one in systemd's runtime folder: an
        // empty one hides it, in a mount namespace (with a user namespace unless root).
        if (std::filesystem::exists("/run/systemd"))
            argv.insert(argv.begin(), {"unshare", ::geteuid() == 0 ? "-m" : "-rm", "sh", "-c",
                                       "mount -t tmpfs tmpfs /run/systemd && exec \"$@\"", "sh"});
        spawn(argv, {}, variables);
        if (wayland) {
            if (!eventually(
                    [&] {
                        return logged("Using public X11 display ", ",") &&
                               logged("Using Wayland display name '", "'");
                    },
                    Seconds(60)))
                throw std::runtime_error("gnome-shell did not start:\n" + log());
            display_ = *logged("Using public X11 display ", ",");
            session_["WAYLAND_DISPLAY"] =
                scratch() / "run" / *logged("Using Wayland display name '", "'");
            for (const auto& entry : std::filesystem::directory_iterator(scratch() / "run"))
                if (entry.path().filename().string().rfind(".mutter-Xwaylandauth.", 0) == 0)
                    session_["XAUTHORITY"] = entry.path();
        }
        if (!eventually(
                [&] { return managed() && log().find("GNOME Shell started") != std::string::npos; },
                Seconds(60)))
            throw std::runtime_error("gnome-shell did not finish starting:\n" + log());
        // The shell opens the overview once it has started; a desktop is wanted.
        const std::string overview = "gdbus call --session --dest org.gnome.Shell --object-path "
                                     "/org/gnome/Shell --method org.freedesktop.DBus.Properties.";
        if (!eventually(
                [&] {
                    run(words(overview + "Set org.gnome.Shell OverviewActive <false>"),
                        environment());
                    return run(words(overview + "Get org.gnome.Shell OverviewActive"),
                               environment())
                               .out.find("false") != std::string::npos;
                },
                Seconds(20)))
            throw std::runtime_error("the overview stayed open:\n" + log());
    }

    void startKWinX11() {
        session_ = {{"XDG_CURRENT_DESKTOP", "KDE"},
                    {"KDE_FULL_SESSION", "true"},
                    {"KDE_SESSION_VERSION", "5"}};
        session_["DBUS_SESSION_BUS_ADDRESS"] = startBus("the session bus");
        run(words("dbus-update-activation-environment DISPLAY XDG_CURRENT_DESKTOP "
                  "KDE_FULL_SESSION KDE_SESSION_VERSION"),
            environment());
        spawn({"kwin_x11", "--replace"}, {}, environment({{"KWIN_COMPOSE", "O2"}}));
        // Its blur effect is not loaded by default on a software renderer.
        if (!saysTrue("qdbus org.kde.KWin /Effects org.kde.kwin.Effects.loadEffect blur"))
            throw std::runtime_error("KWin did not load its blur effect:\n" + log());
    }

    // The packaged kwin_wayland carries a file capability that a container may refuse; a plain
    // copy runs. It starts the program it is given once XWayland runs, with XWayland's display.
    void startKWinWayland() {
        session_ = {{"XDG_RUNTIME_DIR", scratch() / "run"}, {"XDG_SESSION_TYPE", "wayland"}};
        session_["DBUS_SESSION_BUS_ADDRESS"] = startBus("the session bus");
        const Path kwin = scratch() / "kwin_wayland";
        std::filesystem::copy_file("/usr/bin/kwin_wayland", kwin);
        const Path announced = scratch() / "xwayland";
        spawn({kwin, "--x11-display", outer_, "--xwayland", "--width", std::to_string(width),
               "--height", std::to_string(height),
               "sh -c 'echo $DISPLAY > " + announced.string() + "'"});
        display_ = firstLine(announced, "XWayland", Seconds(60));
        session_["WAYLAND_DISPLAY"] = "wayland-0";
    }

    // Whether a D-Bus call answers true within half a minute, its service started meanwhile.
    bool saysTrue(const std::string& call) const {
        return eventually(
            [&] { return run(words(call), environment()).out.find("true") != std::string::npos; },
            Seconds(30));
    }
    // Started with this desktop's environment unless told otherwise; its messages go to the
    // desktop's log, and its standard output to `announced` when given.
    void spawn(std::vector<std::string> argv, std::optional<Path> announced = {},
               std::optional<Variables> variables = {}) {
        const Path log = scratch() / "desktop.log";
        processes_.emplace_back(std::move(argv), variables.value_or(environment()),
                                Streams{"/dev/null", announced.value_or(log), log});
    }
    std::string startBus(const std::string& what) {
        const Path address = scratch() / (std::to_string(processes_.size()) + ".bus");
        spawn({"dbus-daemon", "--session", "--nofork", "--print-address=1"}, address);
        return firstLine(address, what);
    }
    std::string firstLine(const Path& file, const std::string& what,
                          Seconds limit = Seconds(20)) const {
        if (auto line = test::firstLine(file, limit))
            return *line;
        throw std::runtime_error(what + " did not start:\n" + log());
    }
    // What follows `marker` in the desktop's log, up to the next character in `end`.
    std::optional<std::string> logged(const std::string& marker, const std::string& end) const {
        const std::string text = log();
        const auto at = text.find(marker);
        const auto to = at == std::string::npos ? at : text.find_first_of(end, at + marker.size());
        if (to == std::string::npos)
            return std::nullopt;
        return text.substr(at + marker.size(), to - at - marker.size());
    }

    void stop() {
        while (!processes_.empty())
            stopLast();
    }
    bool managed() const { return property("_NET_SUPPORTING_WM_CHECK").has_value(); }

    Shell shell_;
    TempDir scratch_;
    std::string outer_;
    std::string display_;
    Variables session_;
    std::vector<Process> processes_;
};

// Two terminals on an openbox session. The first (on desktop 0) shows a tmux server on a socket of
// its own: its client is attached to session "notes", while session "work" has a window "editor"
// and a window "agent" split in two panes, the first of them selected; the second pane runs the
// process that stands in for a Claude Code agent. The other terminal (on desktop 1) is active.
class TerminalScene {
public:
    explicit TerminalScene(const XSession& x) : x(x), socket_(x.scratch() / "tmux.sock") {
        try {
            setUp();
        } catch (...) {
            run({"tmux", "-S", socket_, "kill-server"}, x.environment());
            throw;
        }
    }
    ~TerminalScene() { run({"tmux", "-S", socket_, "kill-server"}, x.environment()); }

    // tmux on this scene's server; its standard output.
    std::string tmux(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"tmux", "-S", socket_});
        return run(arguments, x.environment()).out;
    }
    // The session the agent stands for, as the hook helper and Claude Code record it: a session
    // file in `dataFolder` and a registry record in `claudeFolder`.
    void writeSession(const Path& dataFolder, const Path& claudeFolder,
                      const std::string& id) const {
        const TimePoint now = wallClockNow();
        auto state = SessionState::make(id, x.scratch() / "project", SessionHost::terminal,
                                        std::nullopt, agentPid, now);
        state.status = SessionStatus::awaitingReview;
        state.startedConversation = true;
        std::filesystem::create_directories(dataFolder / "sessions");
        SessionFileStore::write(state, dataFolder / "sessions" / (id + ".json"));
        const auto millis =
            std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
        writeText(claudeFolder / "sessions" / (std::to_string(agentPid) + ".json"),
                  R"({"pid":)" + std::to_string(agentPid) + R"(,"sessionId":")" + id +
                      R"(","cwd":")" + state.cwd + R"(","kind":"interactive","startedAt":)" +
                      std::to_string(millis.count()) + R"(,"tmux":"work:@2.)" + agentPane + "\"}");
    }
    // To desktop 1, where a fresh terminal takes the focus; tmux's client back on "notes".
    void goElsewhere() {
        tmux(words("switch-client -t notes"));
        tmux(words("select-pane -t work:agent.0"));
        x.setCurrentDesktop(1);
        if (!eventually([&] { return x.currentDesktop() == 1u; }))
            throw std::runtime_error("openbox did not go to desktop 1");
        otherTerminal.emplace(std::vector<std::string>{"xterm"}, x.environment());
        if (!eventually([&] { return x.activePid() == otherTerminal->pid(); }))
            throw std::runtime_error("the other terminal did not come up");
    }

    const XSession& x;
    std::int32_t agentPid = 0;
    std::string agentPane;
    std::optional<Process> tmuxTerminal;
    std::optional<Process> otherTerminal;

private:
    void setUp() {
        tmux(words("-f /dev/null new-session -d -s notes -x 80 -y 24 sleep 600"));
        tmux(words("new-session -d -s work -n editor sleep 600"));
        tmux(words("new-window -d -t work -n agent sleep 600"));
        const std::string created = tmux({"split-window", "-t", "work:agent", "-P", "-F",
                                          "#{pane_id} #{pane_pid}", "sleep", "600"});
        agentPane = created.substr(0, created.find(' '));
        agentPid = std::stoi(created.substr(created.find(' ') + 1));

        tmuxTerminal.emplace(
            std::vector<std::string>{"xterm", "-e", "tmux", "-S", socket_, "attach", "-t", "notes"},
            x.environment());
        if (!eventually([&] { return x.activePid() == tmuxTerminal->pid(); }) ||
            !eventually([&] { return !tmux({"list-clients"}).empty(); }))
            throw std::runtime_error("the tmux terminal did not come up");
        goElsewhere();
    }

    Path socket_;
};

} // namespace ostrelvan::test
