#pragma once

// GNOME Shell on a private X server, for end-to-end tests on the desktop most people use, in
// either of its sessions: the window manager of an Xvfb display (`gnome-shell --x11 --replace`),
// or a Wayland compositor in a window on an Xvfb display (`gnome-shell --nested --wayland`), where
// its XWayland serves X11 clients beside native Wayland ones. Either way the Xvfb display is the
// outer one: xdotool there moves the real pointer, and its screenshots show the whole desktop.
//
// The shell gets a session bus and a stand-in system bus of its own, a home and runtime folder
// of its own, and, where systemd's runtime folder exists, an empty one in a private mount
// namespace, since it would otherwise look for a login session that a test has none of.
#include "ScreenPixels.h"

#include <fstream>
#include <sys/stat.h>

namespace ostrelvan::test {

class GnomeShell {
public:
    enum class Mode { x11, nestedWayland };

    static bool available() { return onPath("gnome-shell"); }

    explicit GnomeShell(Mode mode, int width = 1280, int height = 800) : mode_(mode) {
        for (const char* program : {"Xvfb", "dbus-daemon", "gdbus", "unshare", "xprop", "xdotool"})
            if (!onPath(program))
                throw std::runtime_error(std::string(program) + " is not installed");
        std::filesystem::create_directories(home());
        std::filesystem::create_directories(runtime());
        ::chmod(runtime().c_str(), 0700);
        try {
            start(width, height);
        } catch (...) {
            stop();
            throw;
        }
    }

    GnomeShell(const GnomeShell&) = delete;
    GnomeShell& operator=(const GnomeShell&) = delete;
    ~GnomeShell() { stop(); }

    Mode mode() const { return mode_; }
    const Path& scratch() const { return scratch_.path(); }
    // The Xvfb display.
    const std::string& outerDisplay() const { return outer_; }
    // Where X11 clients go: the Xvfb display under X11, XWayland's display when nested.
    const std::string& display() const { return display_; }
    // The shell's messages so far.
    std::string log() const { return readText(scratch() / "gnome-shell.log"); }

    // What a program in this session gets. On Wayland that is both displays, as in a real
    // session, and a program picks one as it would there.
    Variables environment(Variables more = {}) const {
        Variables result{
            {"DISPLAY", display_},
            {"PATH", std::getenv("PATH") ? std::getenv("PATH") : "/usr/bin:/bin"},
            {"HOME", home()},
            {"LANG", "C.UTF-8"},
            {"XDG_RUNTIME_DIR", runtime()},
            {"XDG_CURRENT_DESKTOP", "GNOME"},
            {"XDG_SESSION_TYPE", mode_ == Mode::x11 ? "x11" : "wayland"},
            {"DBUS_SESSION_BUS_ADDRESS", sessionBus_},
        };
        if (mode_ == Mode::nestedWayland) {
            result["XAUTHORITY"] = xauthority_;
            // A full path, so that a program given a runtime folder of its own still finds it.
            result["WAYLAND_DISPLAY"] = runtime() / wayland_;
        }
        for (auto& [name, value] : more)
            result[name] = std::move(value);
        return result;
    }
    // A GTK program started with this opens a native Wayland window.
    Variables waylandEnvironment(Variables more = {}) const {
        more.emplace("GDK_BACKEND", "wayland");
        return environment(std::move(more));
    }

    // The whole desktop as the outer display shows it.
    Screenshot screenshot() const {
        const Path file = scratch() / "screen.ppm";
        std::filesystem::remove(file);
        run({"import", "-silent", "-window", "root", "-depth", "8", "ppm:" + file.string()},
            outerEnvironment());
        return readPpm(file);
    }
    void movePointer(int x, int y) const {
        run({"xdotool", "mousemove", std::to_string(x), std::to_string(y)}, outerEnvironment());
    }
    // The area the shell leaves to windows (below its top bar), as X11 clients are told.
    WorkArea workArea() const {
        const Outcome out = run({"xprop", "-root", "_NET_WORKAREA"}, environment());
        WorkArea area;
        const auto equals = out.out.find('=');
        if (equals != std::string::npos)
            std::sscanf(out.out.c_str() + equals + 1, " %d, %d, %d, %d", &area.x, &area.y,
                        &area.width, &area.height);
        return area;
    }

    // The overview, which the shell shows at start-up, as it reports it over D-Bus.
    std::optional<bool> overviewActive() const {
        const Outcome out = shellProperty({"Get", "org.gnome.Shell", "OverviewActive"});
        if (out.code != 0)
            return std::nullopt;
        return out.out.find("true") != std::string::npos;
    }
    void setOverviewActive(bool active) const {
        shellProperty({"Set", "org.gnome.Shell", "OverviewActive", active ? "<true>" : "<false>"});
    }

private:
    using Seconds = std::chrono::seconds;

    Path home() const { return scratch() / "home"; }
    Path runtime() const { return scratch() / "run"; }

    Variables outerEnvironment() const {
        Variables outer = environment();
        outer["DISPLAY"] = outer_;
        outer.erase("XAUTHORITY");
        return outer;
    }

    Outcome shellProperty(const std::vector<std::string>& arguments) const {
        std::vector<std::string> argv{"gdbus",
                                      "call",
                                      "--session",
                                      "--dest",
                                      "org.gnome.Shell",
                                      "--object-path",
                                      "/org/gnome/Shell",
                                      "--method",
                                      "org.freedesktop.DBus.Properties." + arguments[0]};
        argv.insert(argv.end(), arguments.begin() + 1, arguments.end());
        return run(argv, environment());
    }

    // The first line a daemon writes to `file`.
    static std::string firstLine(const Path& file, const std::string& what) {
        if (!eventually([&] { return readText(file).find('\n') != std::string::npos; },
                        Seconds(20)))
            throw std::runtime_error(what + " did not start");
        const std::string text = readText(file);
        return text.substr(0, text.find('\n'));
    }

    // What follows `marker` in the shell's log, up to the next character in `end`.
    std::optional<std::string> logged(const std::string& marker, const std::string& end) const {
        const std::string text = log();
        const auto at = text.find(marker);
        if (at == std::string::npos)
            return std::nullopt;
        const auto from = at + marker.size();
        const auto to = text.find_first_of(end, from);
        if (to == std::string::npos)
            return std::nullopt;
        return text.substr(from, to - from);
    }

    bool windowManagerAnswers() const {
        const Outcome out = run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}, environment());
        return out.code == 0 && out.out.find("window id") != std::string::npos;
    }

    void start(int width, int height) {
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                                 size + "x24", "-nolisten", "tcp"},
                        std::nullopt, Streams{"/dev/null", scratch() / "display"});
        outer_ = ":" + firstLine(scratch() / "display", "Xvfb");
        display_ = outer_;

        // The buses start services (dconf among them) that write under HOME: the session's own,
        // never the user's who runs the tests.
        Variables busVariables = environment();
        busVariables.erase("DBUS_SESSION_BUS_ADDRESS");
        sessionBusDaemon_.emplace(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"},
            busVariables, Streams{"/dev/null", scratch() / "session-bus"});
        sessionBus_ = firstLine(scratch() / "session-bus", "the session bus");
        // Nothing the shell asks of the system bus has to answer; it has to be there.
        systemBusDaemon_.emplace(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"},
            busVariables, Streams{"/dev/null", scratch() / "system-bus"});
        const std::string systemBus = firstLine(scratch() / "system-bus", "the system bus");

        std::vector<std::string> argv{"gnome-shell"};
        Variables variables =
            environment({{"DISPLAY", outer_}, {"DBUS_SYSTEM_BUS_ADDRESS", systemBus}});
        variables.erase("WAYLAND_DISPLAY");
        variables.erase("XAUTHORITY");
        if (mode_ == Mode::x11) {
            argv.insert(argv.end(), {"--x11", "--replace"});
        } else {
            argv.insert(argv.end(), {"--nested", "--wayland"});
            variables["MUTTER_DEBUG_DUMMY_MODE_SPECS"] = size;
        }
        if (std::filesystem::exists("/run/systemd")) {
            // Root may make a mount namespace; anyone else makes a user namespace to go with it.
            std::vector<std::string> hidden{"unshare",
                                            ::geteuid() == 0 ? "-m" : "-rm",
                                            "sh",
                                            "-c",
                                            "mount -t tmpfs tmpfs /run/systemd && exec \"$@\"",
                                            "sh"};
            argv.insert(argv.begin(), hidden.begin(), hidden.end());
        }
        const Path logFile = scratch() / "gnome-shell.log";
        shell_.emplace(argv, variables, Streams{"/dev/null", logFile, logFile});

        if (mode_ == Mode::nestedWayland) {
            if (!eventually(
                    [&] {
                        return logged("Using public X11 display ", ",").has_value() &&
                               logged("Using Wayland display name '", "'").has_value();
                    },
                    Seconds(60)))
                throw std::runtime_error("gnome-shell did not start:\n" + log());
            display_ = *logged("Using public X11 display ", ",");
            wayland_ = *logged("Using Wayland display name '", "'");
            for (const auto& entry : std::filesystem::directory_iterator(runtime()))
                if (entry.path().filename().string().rfind(".mutter-Xwaylandauth.", 0) == 0)
                    xauthority_ = entry.path();
        }
        if (!eventually([&] { return windowManagerAnswers(); }, Seconds(60)))
            throw std::runtime_error("gnome-shell does not manage " + display_ + ":\n" + log());
        // The shell opens the overview once it has started; a desktop is wanted.
        if (!eventually([&] { return log().find("GNOME Shell started") != std::string::npos; },
                        Seconds(60)))
            throw std::runtime_error("gnome-shell did not finish starting:\n" + log());
        if (!eventually(
                [&] {
                    if (overviewActive() != false) {
                        setOverviewActive(false);
                        return false;
                    }
                    return true;
                },
                Seconds(20)))
            throw std::runtime_error("the overview stayed open:\n" + log());
    }

    // Asked to stop rather than killed, so that the servers remove their sockets and locks.
    void stop() {
        for (auto* process : {&shell_, &systemBusDaemon_, &sessionBusDaemon_, &server_}) {
            if (!*process)
                continue;
            ::kill((*process)->pid(), SIGTERM);
            const pid_t pid = (*process)->pid();
            // Given a while to go; the Process then kills what is left.
            if (eventually([pid] { return isZombie(pid); }, Seconds(10)))
                (*process)->wait();
            process->reset();
        }
    }

    static bool isZombie(pid_t pid) {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        const auto close = text.rfind(')');
        return close == std::string::npos || text.substr(close + 2, 1) == "Z";
    }

    Mode mode_;
    TempDir scratch_;
    std::string outer_;
    std::string display_;
    std::string xauthority_;
    std::string wayland_;
    std::string sessionBus_;
    std::optional<Process> server_;
    std::optional<Process> sessionBusDaemon_;
    std::optional<Process> systemBusDaemon_;
    std::optional<Process> shell_;
};

} // namespace ostrelvan::test
