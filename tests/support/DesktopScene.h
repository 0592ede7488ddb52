#pragma once

// A real X display with a window manager, terminals and tmux, for end-to-end tests of going to a
// session. Link PkgConfig::XCB (xcb, xcb-ewmh) and the core.
#include "TestSupport.h"
#include "core/SessionFileStore.h"

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

namespace ostrelvan::test {

// Polls `condition` until it holds or `limit` has passed; whether it held.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

inline bool onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::string_view rest = path ? path : "";
    while (!rest.empty()) {
        const auto colon = rest.find(':');
        const Path candidate = Path(rest.substr(0, colon)) / program;
        if (::access(candidate.c_str(), X_OK) == 0)
            return true;
        rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
    }
    return false;
}

// Xvfb on a display number it picks itself (-displayfd), with openbox managing it.
class XSession {
public:
    static bool available() { return onPath("Xvfb"); }

    XSession() {
        for (const char* program : {"openbox", "xterm", "tmux"})
            if (!onPath(program))
                throw std::runtime_error(std::string(program) + " is not installed");
        const Path announced = scratch_ / "display";
        server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                                 "1280x800x24", "-nolisten", "tcp"},
                        std::nullopt, Streams{"/dev/null", announced});
        if (!eventually([&] { return readText(announced).find('\n') != std::string::npos; }))
            throw std::runtime_error("Xvfb did not start");
        // Appended rather than ":" + text, which GCC 12 misreads as an overlapping copy at -O2.
        const std::string number = readText(announced);
        display_ = std::string(":").append(number, 0, number.find('\n'));
        windowManager_.emplace(std::vector<std::string>{"openbox"}, environment());
        if (!eventually([&] { return query(&XSession::managed); }))
            throw std::runtime_error("openbox did not start");
    }

    XSession(const XSession&) = delete;
    XSession& operator=(const XSession&) = delete;
    // Asked to stop rather than killed, so that Xvfb removes its socket and lock file.
    ~XSession() {
        for (auto* process : {&windowManager_, &server_}) {
            if (*process) {
                ::kill((*process)->pid(), SIGTERM);
                (*process)->wait();
            }
        }
    }

    const std::string& display() const { return display_; }
    const Path& scratch() const { return scratch_.path(); }

    // What a program on this display gets: no session bus, so that nothing reaches the
    // user's desktop, and a home of its own.
    Variables environment(Variables more = {}) const {
        Variables result{{"DISPLAY", display_},
                         {"PATH", std::getenv("PATH") ? std::getenv("PATH") : "/usr/bin:/bin"},
                         {"HOME", scratch_ / "home"},
                         {"LANG", "C.UTF-8"},
                         {"DBUS_SESSION_BUS_ADDRESS", "disabled:"}};
        for (auto& [name, value] : more)
            result[name] = std::move(value);
        return result;
    }

    // The pid of the active window's owner.
    std::optional<std::int32_t> activePid() const { return query(&XSession::readActivePid); }
    std::optional<std::uint32_t> currentDesktop() const {
        return query([](xcb_ewmh_connection_t* ewmh) -> std::optional<std::uint32_t> {
            std::uint32_t desktop = 0;
            if (xcb_ewmh_get_current_desktop_reply(ewmh, xcb_ewmh_get_current_desktop(ewmh, 0),
                                                   &desktop, nullptr) != 1)
                return std::nullopt;
            return desktop;
        });
    }
    void setCurrentDesktop(std::uint32_t desktop) const {
        query([desktop](xcb_ewmh_connection_t* ewmh) {
            xcb_ewmh_request_change_current_desktop(ewmh, 0, desktop, XCB_CURRENT_TIME);
            // Events sent just before a disconnect are often lost: wait for the server first.
            std::free(xcb_get_input_focus_reply(ewmh->connection,
                                                xcb_get_input_focus(ewmh->connection), nullptr));
            return true;
        });
    }

private:
    template <class Read> auto query(Read read) const -> decltype(read(nullptr)) {
        const std::string name = display_;
        xcb_connection_t* connection = xcb_connect(name.c_str(), nullptr);
        decltype(read(nullptr)) result{};
        xcb_ewmh_connection_t ewmh{};
        if (!xcb_connection_has_error(connection) &&
            xcb_ewmh_init_atoms_replies(&ewmh, xcb_ewmh_init_atoms(connection, &ewmh), nullptr)) {
            result = read(&ewmh);
            xcb_ewmh_connection_wipe(&ewmh);
        }
        xcb_disconnect(connection);
        return result;
    }
    static bool managed(xcb_ewmh_connection_t* ewmh) {
        xcb_window_t check = XCB_NONE;
        return xcb_ewmh_get_supporting_wm_check_reply(
                   ewmh, xcb_ewmh_get_supporting_wm_check(ewmh, ewmh->screens[0]->root), &check,
                   nullptr) == 1 &&
               check != XCB_NONE;
    }
    static std::optional<std::int32_t> readActivePid(xcb_ewmh_connection_t* ewmh) {
        xcb_window_t active = XCB_NONE;
        std::uint32_t pid = 0;
        if (xcb_ewmh_get_active_window_reply(ewmh, xcb_ewmh_get_active_window(ewmh, 0), &active,
                                             nullptr) != 1 ||
            active == XCB_NONE ||
            xcb_ewmh_get_wm_pid_reply(ewmh, xcb_ewmh_get_wm_pid(ewmh, active), &pid, nullptr) != 1)
            return std::nullopt;
        return static_cast<std::int32_t>(pid);
    }

    TempDir scratch_;
    std::string display_;
    std::optional<Process> server_;
    std::optional<Process> windowManager_;
};

// Two terminals on an X session. The first (on desktop 0) shows a tmux server on a socket of its
// own: its client is attached to session "notes", while session "work" has a window "editor" and
// a window "agent" split in two panes, the first of them selected; the second pane runs the
// process that stands in for a Claude Code agent. The other terminal (on desktop 1) is active.
class TerminalScene {
public:
    TerminalScene() : socket_(x.scratch() / "tmux.sock") {
        try {
            setUp();
        } catch (...) {
            run({"tmux", "-S", socket_, "kill-server"}, x.environment());
            throw;
        }
    }
    TerminalScene(const TerminalScene&) = delete;
    TerminalScene& operator=(const TerminalScene&) = delete;
    ~TerminalScene() {
        tmuxTerminal.reset();
        otherTerminal.reset();
        run({"tmux", "-S", socket_, "kill-server"}, x.environment());
    }

    // tmux on this scene's server; its standard output.
    std::string tmux(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"tmux", "-S", socket_});
        return run(arguments, x.environment()).out;
    }
    // The session the agent stands for, as the hook helper and Claude Code record it: a session
    // file in `dataFolder` and a registry record in `claudeFolder`.
    SessionState writeSession(const Path& dataFolder, const Path& claudeFolder,
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
        return state;
    }

    XSession x;
    std::int32_t agentPid = 0;
    std::string agentPane;
    std::optional<Process> tmuxTerminal;
    std::optional<Process> otherTerminal;

private:
    void setUp() {
        tmux({"-f", "/dev/null", "new-session", "-d", "-s", "notes", "-x", "80", "-y", "24",
              "sleep", "600"});
        tmux({"new-session", "-d", "-s", "work", "-n", "editor", "sleep", "600"});
        tmux({"new-window", "-d", "-t", "work", "-n", "agent", "sleep", "600"});
        const std::string created = tmux({"split-window", "-t", "work:agent", "-P", "-F",
                                          "#{pane_id} #{pane_pid}", "sleep", "600"});
        agentPane = created.substr(0, created.find(' '));
        agentPid = std::stoi(created.substr(created.find(' ') + 1));
        tmux({"select-pane", "-t", "work:agent.0"});

        tmuxTerminal.emplace(
            std::vector<std::string>{"xterm", "-e", "tmux", "-S", socket_, "attach", "-t", "notes"},
            x.environment());
        if (!eventually([&] { return x.activePid() == tmuxTerminal->pid(); }) ||
            !eventually([&] { return !tmux({"list-clients"}).empty(); }))
            throw std::runtime_error("the tmux terminal did not come up");
        x.setCurrentDesktop(1);
        if (!eventually([&] { return x.currentDesktop() == 1u; }))
            throw std::runtime_error("openbox did not go to desktop 1");
        otherTerminal.emplace(std::vector<std::string>{"xterm"}, x.environment());
        if (!eventually([&] { return x.activePid() == otherTerminal->pid(); }))
            throw std::runtime_error("the other terminal did not come up");
    }

    Path socket_;
};

} // namespace ostrelvan::test
