#include "app/services/SessionOpening.h"

#include "TestSupport.h"
#include "app/platform/Workspace.h"
#include "base/ProcessTable.h"

#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <thread>

using namespace ostrelvan;
using namespace std::chrono_literals;

namespace {

std::string join(const Command& command) {
    std::string text;
    for (const auto& word : command)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

// Records every request in order and answers them later, as the real starter does.
class FakeStarter : public ProcessStarter {
public:
    std::vector<std::string> log;
    std::map<std::string, Result> results; // by the whole command; others exit 0 with no output
    std::set<std::string> missing;         // programs that cannot be started

    bool start(const Command& command) override {
        log.push_back("start " + join(command));
        return !missing.contains(command.front());
    }
    void run(const Command& command, Finished finished) override {
        log.push_back("run " + join(command));
        const auto known = results.find(join(command));
        const Result result = missing.contains(command.front()) ? Result{}
                              : known != results.end()          ? known->second
                                                                : Result{true, 0, ""};
        pending_.push_back([finished, result] { finished(result); });
    }
    void after(std::chrono::milliseconds delay, std::function<void()> task) override {
        log.push_back("after " + std::to_string(delay.count()) + "ms");
        pending_.push_back(std::move(task));
    }
    void settle() {
        while (!pending_.empty()) {
            auto next = std::move(pending_.front());
            pending_.pop_front();
            next();
        }
    }

private:
    std::deque<std::function<void()>> pending_;
};

template <class Value>
std::optional<Value> find(const std::map<std::int32_t, Value>& map, std::int32_t key) {
    const auto found = map.find(key);
    return found == map.end() ? std::nullopt : std::optional(found->second);
}

// A machine of a few processes and windows.
struct FakeMachine {
    std::map<std::int32_t, Environment> environments; // readable environments
    std::map<std::int32_t, std::int32_t> parents;
    std::map<std::int32_t, std::string> registry; // "tmux" fields
    std::set<std::int32_t> windowOwners;
    bool hasDisplay = true;
    bool fileManager = true;
    std::optional<Command> vscode;

    SessionOpening::Machine machine(std::vector<std::string>& log) {
        return {
            [this](const std::string& folder) -> std::optional<Command> {
                if (!vscode)
                    return std::nullopt;
                auto command = *vscode;
                command.push_back(folder);
                return command;
            },
            [this](std::int32_t pid) { return find(environments, pid); },
            [this](std::int32_t pid) { return find(parents, pid); },
            [this](std::int32_t pid) { return find(registry, pid); },
            [this, &log](const std::vector<std::int32_t>& chain,
                         std::optional<std::uint32_t> time) {
                std::string text = "activate";
                for (const auto pid : chain)
                    text += " " + std::to_string(pid);
                log.push_back(text + " at " + (time ? std::to_string(*time) : "now"));
                if (!hasDisplay)
                    return WindowActivation::Outcome::unavailable;
                for (const auto pid : chain)
                    if (windowOwners.contains(pid))
                        return WindowActivation::Outcome::activated;
                return WindowActivation::Outcome::noWindow;
            },
            [this, &log](const std::string& folder, std::optional<std::uint32_t>,
                         const std::function<void(bool)>& done) {
                log.push_back("show-items " + folder);
                done(fileManager);
            },
            [](const std::string& url) {
                return Command{"open-url", url};
            },
            [](const std::string& folder) {
                return Command{"open-folder", folder};
            },
            [](const std::string&) { return std::optional<Command>(); },
            true,
        };
    }
};

struct Opened {
    std::vector<std::string> log;
    int done = 0;
};

Opened open(const SessionState& session, FakeMachine machine, std::set<std::string> missing = {},
            std::map<std::string, ProcessStarter::Result> results = {},
            std::optional<std::uint32_t> userTime = 777) {
    FakeStarter starter;
    starter.missing = std::move(missing);
    starter.results = std::move(results);
    SessionOpening opening(starter, machine.machine(starter.log));
    Opened opened;
    opening.open(session, userTime, [&] { ++opened.done; });
    starter.settle();
    opened.log = starter.log;
    return opened;
}

using Log = std::vector<std::string>;

// An agent (pid 100) under a shell (99) under a terminal emulator (98) with a window.
const std::map<std::int32_t, std::int32_t> plainTerminal{{100, 99}, {99, 98}, {98, 1}};

SessionState terminalSession(std::optional<std::string> terminalApp = std::nullopt) {
    auto state = SessionState::make("s 1", "/w/app/sub", SessionHost::terminal,
                                    std::move(terminalApp), 100, TimePoint{});
    state.root = "/w/app";
    return state;
}

SessionState vscodeSession() {
    auto state = terminalSession();
    state.host = SessionHost::vscode;
    return state;
}

const std::string listClients = "list-clients -F #{client_activity} #{client_pid} #{client_tty}";

} // namespace

TEST(SessionOpening, TmuxSessionSelectsThePaneThenTheClientsWindow) {
    FakeMachine machine;
    // The agent runs in a pane of a server whose two clients sit in two terminals.
    machine.environments[100] = {{"TMUX", "/tmp/tmux-1000/default,90,0"}, {"TMUX_PANE", "%3"}};
    machine.parents = {{100, 90}, {90, 1}, {500, 510}, {600, 610}, {610, 1}};
    machine.windowOwners = {510, 610};
    const std::string tmux = "tmux -S /tmp/tmux-1000/default ";
    auto opened = open(terminalSession(), machine, {},
                       {{tmux + listClients, {true, 0, "5 500 /dev/pts/7\n9 600 /dev/pts/8\n"}}});
    EXPECT_EQ(opened.log, (Log{"run " + tmux + listClients,
                               "run " + tmux +
                                   "select-window -t %3 ; select-pane -t %3 ; switch-client -c "
                                   "/dev/pts/8 -t %3",
                               "activate 600 610 at 777"}));
    EXPECT_EQ(opened.done, 1);

    // Claude Code's registry names the pane when the agent's environment cannot be read; tmux
    // then finds its default server itself. A client whose window cannot be seen from here (a
    // Wayland terminal) still shows the pane, so the folder is not opened.
    machine.environments.clear();
    machine.registry[100] = "work:@2.%3";
    machine.hasDisplay = false;
    opened = open(terminalSession(), machine, {},
                  {{"tmux " + listClients, {true, 0, "9 600 /dev/pts/8\n"}}});
    EXPECT_EQ(opened.log, (Log{"run tmux " + listClients,
                               "run tmux select-window -t %3 ; select-pane -t %3 ; switch-client "
                               "-c /dev/pts/8 -t %3",
                               "activate 600 610 at 777"}));

    // No client attached: the pane is selected for later, and the folder is shown meanwhile.
    opened = open(terminalSession(), machine, {}, {{"tmux " + listClients, {true, 0, ""}}});
    EXPECT_EQ(opened.log,
              (Log{"run tmux " + listClients, "run tmux select-window -t %3 ; select-pane -t %3",
                   "show-items /w/app"}));

    // No tmux on the machine: the same, and nothing breaks.
    opened = open(terminalSession(), machine, {"tmux"});
    EXPECT_EQ(opened.log,
              (Log{"run tmux " + listClients, "run tmux select-window -t %3 ; select-pane -t %3",
                   "show-items /w/app"}));
    EXPECT_EQ(opened.done, 1);
}

TEST(SessionOpening, PlainTerminalIsFoundByItsProcessesElseTheFolderIsShown) {
    FakeMachine machine;
    machine.parents = plainTerminal;
    machine.windowOwners = {98};
    EXPECT_EQ(open(terminalSession(), machine).log, (Log{"activate 100 99 98 at 777"}));
    // A command line knows no click: the window system's current time is used.
    EXPECT_EQ(open(terminalSession(), machine, {}, {}, std::nullopt).log,
              (Log{"activate 100 99 98 at now"}));

    // A terminal the table knows (Ghostty sets TERM_PROGRAM on Linux too) has no bundle to
    // activate here; an unknown one neither. Without a window, the folder.
    machine.windowOwners.clear();
    for (const char* app : {"ghostty", "kitty"})
        EXPECT_EQ(open(terminalSession(app), machine).log,
                  (Log{"activate 100 99 98 at 777", "show-items /w/app"}))
            << app;

    // No file manager on the bus: the desktop's handler for folders.
    machine.fileManager = false;
    auto noPid = terminalSession();
    noPid.pid.reset();
    const auto opened = open(noPid, machine);
    EXPECT_EQ(opened.log, (Log{"show-items /w/app", "start open-folder /w/app"}));
    EXPECT_EQ(opened.done, 1);
}

TEST(SessionOpening, VSCodeOpensTheFolderThenTheSessionLink) {
    FakeMachine machine;
    machine.parents = plainTerminal;
    machine.windowOwners = {98};
    machine.vscode = Command{"/usr/bin/code"};
    auto opened = open(vscodeSession(), machine);
    EXPECT_EQ(opened.log,
              (Log{"start /usr/bin/code /w/app", "after 400ms",
                   "start open-url vscode://anthropic.claude-code/open?session=s%201"}));
    EXPECT_EQ(opened.done, 1);

    // The folder could not be opened: logged, and the link still follows.
    EXPECT_EQ(open(vscodeSession(), machine, {"/usr/bin/code"}).log, opened.log);

    // A session in VS Code's integrated terminal opens the folder only.
    EXPECT_EQ(open(terminalSession("vscode"), machine).log, (Log{"start /usr/bin/code /w/app"}));

    // Without VS Code: the extension's session shows its folder; the integrated terminal's is
    // still found by its processes (VS Code's own window, when it runs after all).
    machine.vscode.reset();
    EXPECT_EQ(open(vscodeSession(), machine).log, (Log{"show-items /w/app"}));
    EXPECT_EQ(open(terminalSession("vscode"), machine).log, (Log{"activate 100 99 98 at 777"}));
}

TEST(SessionOpening, ShowInFileManagerFallsBackToTheFolderHandler) {
    for (const bool answered : {true, false}) {
        FakeStarter starter;
        FakeMachine machine;
        machine.fileManager = answered;
        SessionOpening opening(starter, machine.machine(starter.log));
        int done = 0;
        opening.showInFileManager("/w/a b", 5, [&] { ++done; });
        starter.settle();
        const Log expected = answered ? Log{"show-items /w/a b"}
                                      : Log{"show-items /w/a b", "start open-folder /w/a b"};
        EXPECT_EQ(starter.log, expected);
        EXPECT_EQ(done, 1);
    }
}

// The live machine's readings, over a real process and real files.
TEST(SessionOpening, LiveMachineReadsTheAgentAndFindsVSCode) {
    test::TempDir root;
    test::Process agent({"sleep", "30"},
                        test::Variables{{"TMUX", "/tmp/x,1,0"}, {"TMUX_PANE", "%9"}});
    const auto pid = static_cast<std::int32_t>(agent.pid());
    test::writeText(root / ("claude/sessions/" + std::to_string(pid) + ".json"),
                    R"({"pid":)" + std::to_string(pid) + R"(,"tmux":"w:@1.%9"})");
    test::writeText(root / "claude/sessions/7.json", R"({"pid":8,"tmux":"w:@1.%9"})");

    const auto live = SessionOpening::Machine::live(root / "claude", {});
    // The kernel lets the spawning parent go on before the new program's environment is in
    // place, so a read at once can come back empty.
    std::optional<Environment> environment;
    for (int i = 0; i < 200 && !(environment && environment->contains("TMUX_PANE")); ++i) {
        std::this_thread::sleep_for(10ms);
        environment = live.environment(pid);
    }
    ASSERT_TRUE(environment && environment->contains("TMUX_PANE"));
    EXPECT_EQ(environment->at("TMUX_PANE"), "%9");
    EXPECT_EQ(live.parent(pid), ::getpid());
    EXPECT_EQ(live.registryTmux(pid), "w:@1.%9");
    EXPECT_EQ(live.registryTmux(7), std::nullopt); // a record of another process
    EXPECT_EQ(live.environment(0), std::nullopt);

    // VS Code: the command on PATH first, else its desktop entry (here Flathub's).
    const Environment bare{
        {"PATH", root / "bin"}, {"HOME", root / "home"}, {"XDG_DATA_DIRS", root / "share"}};
    EXPECT_EQ(Workspace::openInVSCode("/w/app", bare), std::nullopt);
    test::writeText(root / "share/applications/com.visualstudio.code.desktop",
                    "[Desktop Entry]\nName=Visual Studio Code\n"
                    "Exec=/usr/bin/flatpak run --command=code com.visualstudio.code @@ %F @@\n"
                    "[Desktop Action new-empty-window]\nExec=/usr/bin/wrong\n");
    EXPECT_EQ(Workspace::openInVSCode("/w/my app", bare),
              (Command{"/usr/bin/flatpak", "run", "--command=code", "com.visualstudio.code", "@@",
                       "/w/my app", "@@"}));
    test::writeText(root / "home/.local/share/applications/code.desktop",
                    "[Desktop Entry]\nExec=\"/opt/VS Code/code\" --unity-launch\n");
    EXPECT_EQ(Workspace::openInVSCode("/w/app", bare),
              (Command{"/opt/VS Code/code", "--unity-launch", "/w/app"}));
    test::writeText(root / "bin/code", "#!/bin/sh\n");
    std::filesystem::permissions(root / "bin/code", std::filesystem::perms::owner_all);
    EXPECT_EQ(Workspace::openInVSCode("/w/app", bare), (Command{root / "bin/code", "/w/app"}));
}
