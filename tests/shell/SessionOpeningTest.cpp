#include "app/services/SessionOpening.h"

#include "TestSupport.h"
#include "app/platform/Workspace.h"
#include "base/ProcessTable.h"

#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <thread>

using namespace ostrelvan;
using namespace std::chrono_literals;

namespace {

using Log = std::vector<std::string>;

// Words, or process ids, as one line.
template <class Word> std::string join(const std::vector<Word>& words) {
    std::ostringstream text;
    for (std::size_t i = 0; i < words.size(); ++i)
        text << (i ? " " : "") << words[i];
    return text.str();
}

// A machine of a few processes and windows, whose starter writes down every request in order
// and answers them later, as the real one does.
class SessionOpeningTest : public ProcessStarter, public ::testing::Test {
public:
    Log log;
    std::map<std::string, Result> results; // by the whole command; others exit 0 with no output
    std::set<std::string> missing;         // programs that cannot be started
    std::map<std::int32_t, Environment> environments; // readable environments
    // An agent (pid 100) under a shell (99) under a terminal emulator (98) with a window.
    std::map<std::int32_t, std::int32_t> parents{{100, 99}, {99, 98}, {98, 1}};
    std::map<std::int32_t, std::string> registry; // "tmux" fields
    std::set<std::int32_t> windowOwners{98};
    bool hasDisplay = true;
    bool fileManager = true;
    std::optional<Command> vscode;

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

    // What opening `session` on a click at `userTime` asked of the machine; done exactly once.
    Log open(const SessionState& session, std::optional<std::uint32_t> userTime = 777) {
        return settled([&](SessionOpening& opening, SessionOpening::Done done) {
            opening.open(session, userTime, done);
        });
    }
    Log showInFileManager(const std::string& folder) {
        return settled([&](SessionOpening& opening, SessionOpening::Done done) {
            opening.showInFileManager(folder, 5, done);
        });
    }

    // The agent's session in /w/app/sub of the project /w/app, in a terminal named `app`.
    static SessionState terminalSession(std::optional<std::string> app = std::nullopt,
                                        SessionHost host = SessionHost::terminal) {
        auto state = SessionState::make("s 1", "/w/app/sub", host, std::move(app), 100, {});
        state.root = "/w/app";
        return state;
    }

private:
    std::deque<std::function<void()>> pending_;

    template <class Value>
    static std::optional<Value> find(const std::map<std::int32_t, Value>& map, std::int32_t key) {
        const auto found = map.find(key);
        return found == map.end() ? std::nullopt : std::optional(found->second);
    }

    Log settled(const std::function<void(SessionOpening&, SessionOpening::Done)>& ask) {
        log.clear();
        SessionOpening opening(*this, machine());
        int done = 0;
        ask(opening, [&] { ++done; });
        while (!pending_.empty()) {
            auto next = std::move(pending_.front());
            pending_.pop_front();
            next();
        }
        EXPECT_EQ(done, 1);
        return log;
    }

    SessionOpening::Machine machine() {
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
            [this](const std::vector<std::int32_t>& chain, std::optional<std::uint32_t> time) {
                log.push_back("activate " + join(chain) + " at " +
                              (time ? std::to_string(*time) : "now"));
                if (!hasDisplay)
                    return WindowActivation::Outcome::unavailable;
                for (const auto pid : chain)
                    if (windowOwners.contains(pid))
                        return WindowActivation::Outcome::activated;
                return WindowActivation::Outcome::noWindow;
            },
            [this](const std::string& folder, std::optional<std::uint32_t>,
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

const std::string listClients = "list-clients -F #{client_activity} #{client_pid} #{client_tty}";
const std::string selectPane = "select-window -t %3 ; select-pane -t %3";

} // namespace

// The whole way through real tmux and a real terminal window, the agent's own server and
// client, is the go-to-session end-to-end test; here the choices on the way.
TEST_F(SessionOpeningTest, TmuxSessionSelectsThePaneThenTheClientsWindow) {
    // Claude Code's registry names the pane when the agent's environment cannot be read; tmux
    // then finds its default server itself. A client whose window cannot be seen from here (a
    // Wayland terminal) still shows the pane, so the folder is not opened.
    parents = {{100, 90}, {90, 1}, {600, 610}, {610, 1}};
    registry[100] = "work:@2.%3";
    hasDisplay = false;
    results = {{"tmux " + listClients, {true, 0, "9 600 /dev/pts/8\n"}}};
    EXPECT_EQ(open(terminalSession()),
              (Log{"run tmux " + listClients,
                   "run tmux " + selectPane + " ; switch-client -c /dev/pts/8 -t %3",
                   "activate 600 610 at 777"}));

    // No client attached: the pane is selected for later, and the folder is shown meanwhile.
    // No tmux on the machine: the same, and nothing breaks.
    const Log unattached{"run tmux " + listClients, "run tmux " + selectPane, "show-items /w/app"};
    results.clear();
    EXPECT_EQ(open(terminalSession()), unattached);
    missing = {"tmux"};
    EXPECT_EQ(open(terminalSession()), unattached);
}

TEST_F(SessionOpeningTest, PlainTerminalIsFoundByItsProcessesElseTheFolderIsShown) {
    EXPECT_EQ(open(terminalSession()), (Log{"activate 100 99 98 at 777"}));
    // A command line knows no click: the window system's current time is used.
    EXPECT_EQ(open(terminalSession(), std::nullopt), (Log{"activate 100 99 98 at now"}));

    // A terminal the table knows (Ghostty sets TERM_PROGRAM on Linux too) has no bundle to
    // activate here; an unknown one neither. Without a window, the folder.
    windowOwners.clear();
    for (const char* app : {"ghostty", "kitty"})
        EXPECT_EQ(open(terminalSession(app)),
                  (Log{"activate 100 99 98 at 777", "show-items /w/app"}))
            << app;

    // No file manager on the bus: the desktop's handler for folders.
    fileManager = false;
    auto noPid = terminalSession();
    noPid.pid.reset();
    EXPECT_EQ(open(noPid), (Log{"show-items /w/app", "start open-folder /w/app"}));
    EXPECT_EQ(showInFileManager("/w/a b"), (Log{"show-items /w/a b", "start open-folder /w/a b"}));
    fileManager = true;
    EXPECT_EQ(showInFileManager("/w/a b"), (Log{"show-items /w/a b"}));
}

TEST_F(SessionOpeningTest, VSCodeOpensTheFolderThenTheSessionLink) {
    vscode = Command{"/usr/bin/code"};
    const auto extension = terminalSession(std::nullopt, SessionHost::vscode);
    const Log opened{"start /usr/bin/code /w/app", "after 400ms",
                     "start open-url vscode://anthropic.claude-code/open?session=s%201"};
    EXPECT_EQ(open(extension), opened);
    // The folder could not be opened: logged, and the link still follows.
    missing = {"/usr/bin/code"};
    EXPECT_EQ(open(extension), opened);

    // A session in VS Code's integrated terminal opens the folder only.
    EXPECT_EQ(open(terminalSession("vscode")), (Log{"start /usr/bin/code /w/app"}));

    // Without VS Code: the extension's session shows its folder; the integrated terminal's is
    // still found by its processes (VS Code's own window, when it runs after all).
    vscode.reset();
    EXPECT_EQ(open(extension), (Log{"show-items /w/app"}));
    EXPECT_EQ(open(terminalSession("vscode")), (Log{"activate 100 99 98 at 777"}));
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
