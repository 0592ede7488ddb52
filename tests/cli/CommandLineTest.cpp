#include "TestSupport.h"
#include "app/integration/HookInstaller.h"
#include "core/SessionCoding.h"
#include "core/SessionFileStore.h"

#include <QSettings>
#include <QTest>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

namespace ostrelvan::test {

using namespace std::chrono_literals;

// Runs the real executable over a home, a data folder, a Claude Code config folder and a
// settings folder, all built here as fixtures.
class CommandLineTest : public QObject {
    Q_OBJECT

    std::unique_ptr<TempDir> root_;
    Path dataFolder() const { return *root_ / "data/Ostrelvan"; }
    QString path(const char* relative) const { return QString::fromStdString(*root_ / relative); }

    // Standard output is never a terminal here, so nothing is coloured.
    Variables environment() const {
        return {{"HOME", *root_ / "home"},
                {"OSTRELVAN_DATA_DIR", dataFolder()},
                {"CLAUDE_CONFIG_DIR", *root_ / "claude"},
                {"XDG_CONFIG_HOME", *root_ / "xdg"},
                {"LANG", "C.UTF-8"}};
    }

    Outcome ostrelvan(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OSTRELVAN_EXECUTABLE);
        return run(arguments, environment());
    }

    // "status/activity/statusLine" of a session as `status --json` shows it (activity "-" when
    // not working, and "/approval" while one is pending), or "not shown".
    std::string shown(const std::string& sessionId, pid_t pid, const Path& folder) {
        const auto document =
            nlohmann::json::parse(ostrelvan({"status", "--json"}).out, nullptr, false);
        if (!document.is_object())
            return "no document";
        const auto text = [](const nlohmann::json& value) {
            return value.is_null() ? std::string("-") : value.get<std::string>();
        };
        for (const auto& group : document["groups"])
            for (const auto& session : group["sessions"])
                if (session["sessionId"] == sessionId)
                    return session["pid"] != pid || session["folder"] != folder.string()
                               ? "elsewhere: " + session.dump()
                               : text(session["status"]) + "/" + text(session["activity"]) + "/" +
                                     text(session["statusLine"]) +
                                     (session["approval"].is_null()
                                          ? ""
                                          : "/" + text(session["approval"]));
        return "not shown";
    }

    static SessionState session(const std::string& id, const std::string& cwd, SessionStatus status,
                                TimePoint since) {
        auto state =
            SessionState::make(id, cwd, SessionHost::vscode, std::nullopt, std::nullopt, since);
        state.status = status;
        state.startedConversation = true;
        return state;
    }

    // Claude Code's own record of an agent process.
    void registry(pid_t pid, const std::string& sessionId, const std::string& cwd,
                  TimePoint startedAt) {
        writeText(*root_ / "claude/sessions" / (std::to_string(pid) + ".json"),
                  R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":")" + sessionId +
                      R"(","cwd":")" + cwd +
                      R"(","kind":"interactive","status":"busy",)"
                      R"("startedAt":)" +
                      std::to_string((startedAt - TimePoint{}).count()) + "}");
    }

    SessionState put(const SessionState& state) {
        std::filesystem::create_directories(dataFolder() / "sessions");
        SessionFileStore::write(state, dataFolder() / "sessions" / (state.sessionId + ".json"));
        return state;
    }

private slots:
    void init() { root_ = std::make_unique<TempDir>(); }

    void statusJsonDescribesEverySessionShown() {
        // Stands in for a Claude Code process in a tmux pane.
        Process agent({"/bin/sleep", "120"},
                      Variables{{"TMUX", "/tmp/tmux-1000/default,4242,0"}, {"TMUX_PANE", "%7"}});
        const auto pid = static_cast<std::int32_t>(agent.pid());
        Process waiting({"/bin/sleep", "120"}); // an agent not yet given a prompt
        const TimePoint now = wallClockNow();

        auto alpha = SessionState::make("alpha", "/work/alpha", SessionHost::terminal, "kitty", pid,
                                        now - 3h);
        alpha.status = SessionStatus::working;
        alpha.activity = SessionActivity::runningTests;
        alpha.startedConversation = true;
        alpha.lastEvent = now - 5s;
        put(alpha);
        const auto beta =
            put(session("beta", "/work/beta-app", SessionStatus::awaitingReview, now - 2h));
        const auto gamma =
            put(session("gamma", "/work/beta-app", SessionStatus::awaitingReview, now - 1h));
        put(session("old", "/work/old", SessionStatus::idle, now - 7h));
        auto silent = session("silent", "/work/silent", SessionStatus::idle, now);
        silent.startedConversation = false;
        put(silent);
        // Run inside Claude Code's own folder, which CLAUDE_CONFIG_DIR moved: hidden.
        put(session("internal", *root_ / "claude/helper", SessionStatus::working, now));
        registry(agent.pid(), "alpha", "/work/alpha", now);
        registry(waiting.pid(), "quiet", "/work/quiet", now);
        writeText(*root_ / "claude/projects/-work-alpha/alpha.jsonl",
                  R"({"type":"custom-title","customTitle":"Fix login"})"
                  "\n");
        {
            QSettings settings(path("xdg/Ostrelvan/Ostrelvan.conf"), QSettings::IniFormat);
            settings.setValue("review.fade", "never");
            const double seen =
                static_cast<double>((gamma.lastEvent - TimePoint{}).count()) / 1000.0 - 978307200;
            settings.setValue("sessions.acknowledged", QVariantMap{{"gamma", seen}, {"gone", 1}});
        }

        const Outcome result = ostrelvan({"status", "--json"});
        QCOMPARE(result.code, 0);
        QCOMPARE(result.err, "");
        // The whole document, field by field in the documented order, absent values as null;
        // the review fade is "never".
        std::string expected = R"({"version":1,"connected":false,
            "notice":"Not connected to Claude Code (run `ostrelvan connect`).","hookErrors":null,
            "waitingForPrompt":1,"groups":[
            {"id":"window-$window","name":"alpha","sessions":[{"sessionId":"alpha",
            "name":"Fix login","status":"working","activity":"runningTests",
            "statusLine":"Running tests…","approval":null,"project":"alpha","folder":"/work/alpha",
            "host":"terminal","terminalApp":"kitty","pid":$pid,"tmuxPane":"%7",
            "title":"Fix login",$alpha}]},
            {"id":"session-beta","name":"beta-app","sessions":[{"sessionId":"beta","name":"beta-app",
            "status":"awaitingReview","activity":null,"statusLine":"Awaiting review",
            "approval":null,"project":"beta-app","folder":"/work/beta-app","host":"vscode",
            "terminalApp":null,"pid":null,"tmuxPane":null,"title":null,$beta}]},
            {"id":"session-gamma","name":"beta-app","sessions":[{"sessionId":"gamma",
            "name":"beta-app #2","status":"idle","activity":null,"statusLine":"Idle",
            "approval":null,"project":"beta-app","folder":"/work/beta-app","host":"vscode",
            "terminalApp":null,"pid":null,"tmuxPane":null,"title":null,$gamma}]}]})";
        const auto times = [](const SessionState& s) {
            return "\"statusSince\":\"" + SessionCoding::formatDate(s.statusSince) +
                   "\",\"lastEvent\":\"" + SessionCoding::formatDate(s.lastEvent) + "\"";
        };
        for (const auto& [key, value] : {std::pair<std::string, std::string>{"\n", ""},
                                         {"  ", ""},
                                         {"$window", std::to_string(::getpid())},
                                         {"$pid", std::to_string(pid)},
                                         {"$alpha", times(alpha)},
                                         {"$beta", times(beta)},
                                         {"$gamma", times(gamma)}})
            for (auto at = expected.find(key); at != std::string::npos; at = expected.find(key))
                expected.replace(at, key.size(), value);
        QCOMPARE(QString::fromStdString(result.out), QString::fromStdString(expected + "\n"));
        checkKeysAgainstTheReadme(result.out);

        QVERIFY(!std::filesystem::exists(dataFolder() / "sessions/old.json"));
        QSettings after(path("xdg/Ostrelvan/Ostrelvan.conf"), QSettings::IniFormat);
        QCOMPARE(after.value("sessions.acknowledged").toMap().keys(), QStringList{"gamma"});
        QCOMPARE(ostrelvan({"status", "--line"}).out, "●1 ◆1 ○1\n");
        QVERIFY(ostrelvan({"status", "--line", "--tmux"}).out.starts_with("#[fg=green]●"));
        const Outcome human = ostrelvan({"status"});
        QVERIFY2(human.out.starts_with("  ● Fix login    alpha     Running tests…   3h\n"),
                 human.out.c_str());
    }

    // The keys of each level of the document, in order, are the README's tables.
    static void checkKeysAgainstTheReadme(const std::string& document) {
        std::map<std::string, std::vector<std::string>> documented;
        std::vector<std::string>* table = nullptr;
        std::istringstream readme(readText(OSTRELVAN_README));
        for (std::string line; std::getline(readme, line);) {
            for (const char* level : {"document", "group", "session"})
                if (line.starts_with("| " + std::string(level) + " key |"))
                    table = &documented[level];
            if (!line.starts_with("| `")) {
                table = line.starts_with("|") ? table : nullptr;
                continue;
            }
            if (table)
                table->push_back(line.substr(3, line.find('`', 3) - 3));
        }
        const auto keys = [](const nlohmann::ordered_json& object) {
            std::vector<std::string> names;
            for (const auto& item : object.items())
                names.push_back(item.key());
            return names;
        };
        const auto parsed = nlohmann::ordered_json::parse(document);
        QCOMPARE(keys(parsed), documented["document"]);
        QCOMPARE(keys(parsed["groups"][0]), documented["group"]);
        QCOMPARE(keys(parsed["groups"][0]["sessions"][0]), documented["session"]);
    }

    // `connect`, then a whole session's events delivered the way Claude Code delivers them: the
    // exact command written into settings.json, run by /bin/sh -c with the payload on standard
    // input, and `status --json` after each step. Claude Code's folder is CLAUDE_CONFIG_DIR's.
    void aWholeSessionThroughTheInstalledHooks() {
        const Path settingsFile = *root_ / "claude/settings.json", project = *root_ / "work/shop";
        const Path helper = dataFolder() / "bin/ostrelvan-hook";
        const std::string userSettings = R"json({"permissions": {"allow": ["Bash(npm test:*)"]},
            "hooks": {"Stop": [{"hooks": [{"type": "command", "command": "true"}]}]}})json";
        std::filesystem::create_directories(project);
        writeText(settingsFile, userSettings);
        const Outcome connect = ostrelvan({"connect"});
        QCOMPARE(connect.err, "");
        QCOMPARE(connect.code, 0);
        QCOMPARE(connect.out, "Installed the hook helper at " + helper.string() +
                                  ".\nBacked up the previous settings to " + settingsFile.string() +
                                  ".ostrelvan-backup.\nWrote Ostrelvan's hook entries to " +
                                  std::filesystem::canonical(settingsFile).string() +
                                  ".\nConnected to Claude Code.\n");
        QCOMPARE(readText(helper), readText(OSTRELVAN_HOOK)); // the helper built beside ostrelvan
        const auto settings = HookInstaller::readSettings(settingsFile);
        QVERIFY(HookInstaller::isInstalled(settings, helper.string()));

        // Claude Code's own record of the agent process, so the session counts as live.
        Process agent({"/bin/sleep", "600"});
        const std::string sessionId = "6f1c2d3e-4a5b-4c6d-8e9f-0a1b2c3d4e5f";
        registry(agent.pid(), sessionId, project, wallClockNow());
        Variables hookEnvironment = environment();
        hookEnvironment.insert({{"CLAUDE_PID", std::to_string(agent.pid())},
                                {"CLAUDE_CODE_ENTRYPOINT", "cli"},
                                {"CLAUDE_PROJECT_DIR", project.string()}});
        const nlohmann::json base = {
            {"session_id", sessionId},
            {"transcript_path", (*root_ / "claude/projects/shop" / sessionId).string() + ".jsonl"},
            {"cwd", project.string()}};
        const nlohmann::json bash = {{"tool_name", "Bash"},
                                     {"tool_input", {{"command", "npm test"}}}};
        // Each step: the event, its own fields, and the session as shown after it.
        for (const auto& [event, fields, shownAs] :
             std::vector<std::tuple<std::string, nlohmann::json, std::string>>{
                 {"SessionStart", {{"source", "startup"}}, "not shown"},
                 {"UserPromptSubmit", {{"prompt", "run the tests"}}, "working/thinking/Working…"},
                 {"PreToolUse", bash, "working/runningTests/Running tests…"},
                 {"PermissionRequest", bash, "needsApproval/-/Needs approval · npm test/npm test"},
                 {"PostToolUse", bash, "working/runningTests/Running tests…"},
                 {"Stop", {{"stop_hook_active", false}}, "awaitingReview/-/Awaiting review"},
                 {"SessionEnd", {{"reason", "prompt_input_exit"}}, "not shown"}}) {
            nlohmann::json payload = base;
            payload.update(fields);
            payload["hook_event_name"] = event;
            const std::string command = settings["hooks"][event].back()["hooks"][0]["command"];
            const Outcome hook = run({"/bin/sh", "-c", command}, hookEnvironment, payload.dump());
            QCOMPARE(event + ": " + std::to_string(hook.code) + hook.out, event + ": 0");
            QCOMPARE(event + ": " + shown(sessionId, agent.pid(), project), event + ": " + shownAs);
        }
        QCOMPARE(listing(dataFolder() / "sessions"), ""); // its lock file went with it

        const Outcome disconnect = ostrelvan({"disconnect"});
        QCOMPARE(disconnect.code, 0);
        QVERIFY(disconnect.out.starts_with("Removed Ostrelvan's hook entries from"));
        QCOMPARE(HookInstaller::readSettings(settingsFile).dump(),
                 nlohmann::json::parse(userSettings).dump());
        // Disconnected; a settings file that does not parse is left as it was, and nothing
        // connects.
        const std::string broken = R"({"model": "opus",})";
        writeText(settingsFile, broken);
        const Outcome refused = ostrelvan({"connect"});
        QCOMPARE(refused.code, 1);
        QCOMPARE(refused.err,
                 settingsFile.string() + " is not valid JSON, so Ostrelvan left it untouched.\n");
        QCOMPARE(readText(settingsFile), broken);
        QVERIFY(ostrelvan({"status"}).out.starts_with("Not connected to Claude Code"));
    }

    // A data folder whose path the shell would break or expand: the command written into
    // settings.json still runs the installed helper, which records into the folder it was
    // installed for even though Claude Code runs it without OSTRELVAN_DATA_DIR.
    void anyDataFolderPathSurvivesTheShell() {
        const Path data = *root_ / "it's a \"data\" $HOME `touch pwned` folder";
        const Path project = *root_ / "work/shop";
        Variables variables = environment();
        variables["OSTRELVAN_DATA_DIR"] = data.string();
        const Outcome connect = run({OSTRELVAN_EXECUTABLE, "connect"}, variables);
        QCOMPARE(connect.err, "");
        QCOMPARE(connect.code, 0);
        const auto settings = HookInstaller::readSettings(*root_ / "claude/settings.json");
        QVERIFY(HookInstaller::isInstalled(settings, (data / "bin/ostrelvan-hook").string()));
        QCOMPARE(listing(*root_ / "claude"), "settings.json\n"); // made, so nothing backed up

        variables.erase("OSTRELVAN_DATA_DIR");
        std::filesystem::create_directories(project);
        const std::string command = settings["hooks"]["UserPromptSubmit"][0]["hooks"][0]["command"];
        const Outcome hook =
            run({"/bin/sh", "-c", command}, variables, payload("UserPromptSubmit", "odd"), project);
        QCOMPARE(hook.out + hook.err, "");
        QCOMPARE(hook.code, 0);
        const auto state =
            nlohmann::json::parse(readText(data / "sessions/odd.json"), nullptr, false);
        QCOMPARE(state.value("status", ""), "working");
        QVERIFY(!std::filesystem::exists(*root_ / "home/.local/share/Ostrelvan"));
        QVERIFY(std::filesystem::is_empty(project)); // nothing the path spelt ran
    }

    // What stands in place of an empty list says what is really going on.
    void emptyStateSaysWhy() {
        QVERIFY(ostrelvan({"status"}).out.starts_with("Not connected to Claude Code"));
        QCOMPARE(ostrelvan({"status", "--line"}).out, "");
        QCOMPARE(ostrelvan({"connect"}).code, 0);
        QCOMPARE(ostrelvan({"status"}).out,
                 "No sessions yet\nStart Claude Code and it shows up here.\n");

        Process agent({"/bin/sleep", "120"});
        registry(agent.pid(), "quiet", "/work/quiet", wallClockNow());
        QCOMPARE(ostrelvan({"status"}).out, "No sessions yet\n1 Claude Code session is running; it "
                                            "shows up here after its first prompt.\n");

        // The helper's errors count once they are newer than the newest session file.
        put(session("delta", "/work/delta", SessionStatus::working, wallClockNow()));
        const Path log = dataFolder() / "hook.log";
        writeText(log, SessionCoding::formatDate(wallClockNow() + 2s) + " bad payload\n");
        const Outcome shown = ostrelvan({"status"});
        QVERIFY2(shown.out.ends_with("\n\nostrelvan-hook logged errors after the last session "
                                     "update; see " +
                                     log.string() + ".\n"),
                 shown.out.c_str());
        QVERIFY(nlohmann::json::parse(ostrelvan({"status", "--json"}).out)["hookErrors"] ==
                log.string());
        std::filesystem::last_write_time(dataFolder() / "sessions/delta.json",
                                         std::filesystem::file_time_type::clock::now() + 10s);
        QVERIFY(nlohmann::json::parse(ostrelvan({"status", "--json"}).out)["hookErrors"].is_null());
    }

    // Without a terminal the live view appends each new state, which makes it observable here.
    void watchRedrawsOnChangeAndLeavesOnSignal() {
        const Path seen = *root_ / "watch.out";
        Process watch({OSTRELVAN_EXECUTABLE, "watch"}, environment(), {"/dev/null", seen});
        const auto shows = [&](const std::string& text) {
            return readText(seen).find(text) != std::string::npos;
        };
        QTRY_VERIFY2_WITH_TIMEOUT(shows("Not connected to Claude Code"), readText(seen).c_str(),
                                  10000);
        put(session("delta", "/work/delta", SessionStatus::needsApproval, wallClockNow()));
        QTRY_VERIFY2_WITH_TIMEOUT(
            shows("Ostrelvan · 1 Claude Code session\n\n  ▲ delta  Needs approval  now\n"),
            readText(seen).c_str(), 10000);
        ::kill(watch.pid(), SIGINT);
        const int status = watch.wait();
        QVERIFY(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    void openNamesOneSessionOrListsTheCandidates() {
        const TimePoint now = wallClockNow();
        put(session("alpha-1", "/work/alpha", SessionStatus::idle, now));
        put(session("alpha-2", "/work/other", SessionStatus::idle, now));
        put(session("beta", "/work/beta", SessionStatus::idle, now));

        Outcome result = ostrelvan({"open", "gamma"});
        QCOMPARE(result.code, 1);
        QCOMPARE(result.err, "ostrelvan: no session matches 'gamma'; the sessions are:\n"
                             "  alpha-1  alpha\n  alpha-2  other\n  beta  beta\n");
        result = ostrelvan({"open", "alpha"});
        QCOMPARE(result.code, 1);
        QCOMPARE(result.err, "ostrelvan: 'alpha' matches 2 sessions; give more of the id:\n"
                             "  alpha-1  alpha\n  alpha-2  other\n");
    }

    // No display and no session bus: a VS Code session opens through the `code` command and the
    // desktop's URL handler, and is acknowledged as opening it from the widget would. A terminal
    // session with no window to raise shows its folder, in TerminalTest.
    void openGoesToVSCodeAndAcknowledges() {
        const Path bin = *root_ / "bin", calls = *root_ / "calls";
        for (const char* tool : {"code", "xdg-open"}) {
            writeText(bin / tool,
                      "#!/bin/sh\necho \"$(basename \"$0\") $*\" >> " + calls.string() + "\n");
            std::filesystem::permissions(bin / tool, std::filesystem::perms::owner_all);
        }
        put(session("vs-1", "/work/vs", SessionStatus::awaitingReview, wallClockNow()));
        Variables variables = environment();
        variables["PATH"] = bin.string() + ":/usr/bin:/bin";
        variables["DBUS_SESSION_BUS_ADDRESS"] = "disabled:";
        QCOMPARE(run({OSTRELVAN_EXECUTABLE, "open", "vs"}, variables).code, 0);
        // The tools run detached, so their calls may land in either order.
        const auto lines = [&] {
            auto list = QString::fromStdString(readText(calls)).split('\n', Qt::SkipEmptyParts);
            list.sort();
            return list;
        };
        QTRY_COMPARE(lines(),
                     (QStringList{"code /work/vs",
                                  "xdg-open vscode://anthropic.claude-code/open?session=vs-1"}));
        QCOMPARE(ostrelvan({"status", "--line"}).out, "○1\n");
    }

    void speaksLikeAUnixCommand() {
        QVERIFY(ostrelvan({"--version"}).out.starts_with("ostrelvan "));
        QVERIFY(ostrelvan({"--help"}).out.starts_with("usage: ostrelvan [command]"));
        for (const std::string command : {"watch", "status", "open", "connect", "disconnect"}) {
            const auto usage =
                "usage: ostrelvan " + std::string(command == "watch" ? "[watch]" : command);
            QVERIFY2(ostrelvan({command, "--help"}).out.starts_with(usage), command.c_str());
            QVERIFY(ostrelvan({"help", command}).out.starts_with(usage));
        }
        // One line saying what is wrong and where to look, and exit status 2.
        for (const auto& [wrong, said] :
             std::vector<std::pair<std::vector<std::string>, std::string>>{
                 {{"frobnicate"}, "unknown command 'frobnicate' (see `ostrelvan --help`)"},
                 {{"--frob"}, "unknown option '--frob' (see `ostrelvan --help`)"},
                 {{"status", "--yaml"},
                  "unknown option '--yaml' for status (see `ostrelvan status --help`)"},
                 {{"status", "--json", "--line"}, "--json and --line cannot be combined"},
                 {{"status", "--json", "--tmux"}, "--tmux goes with --line"},
                 {{"status", "extra"}, "status takes no arguments, but was given 'extra'"},
                 {{"open"}, "open needs a session id"},
                 {{"open", "a", "b"}, "open takes one session id, but was also given 'b'"}}) {
            const Outcome result = ostrelvan(wrong);
            QCOMPARE(result.code, 2);
            QVERIFY(result.out.empty());
            QVERIFY2(result.err.starts_with("ostrelvan: " + said) &&
                         result.err.find('\n') == result.err.size() - 1,
                     result.err.c_str());
        }
    }

    // A relative or "~" path would put folders wherever the command runs: refused, and nothing
    // is made. A file in the way of a folder is told in words.
    void refusesPathsItCannotUse() {
        const Path here = *root_ / "here";
        std::filesystem::create_directories(here);
        for (const auto& [name, value] : {std::pair<std::string, std::string>{"HOME", "home"},
                                          {"OSTRELVAN_DATA_DIR", "~/data"},
                                          {"CLAUDE_CONFIG_DIR", "claude"}}) {
            Variables variables = environment();
            variables[name] = value;
            for (const char* command : {"status", "connect"}) {
                const Outcome result = run({OSTRELVAN_EXECUTABLE, command}, variables, {}, here);
                QCOMPARE(result.code, 2);
                QVERIFY2(result.err.starts_with("ostrelvan: " + name + " is \"" + value + "\", "),
                         result.err.c_str());
            }
        }
        QCOMPARE(listing(here), "");

        writeText(*root_ / "data", "a file, not a folder");
        const Outcome connect = ostrelvan({"connect"});
        QCOMPARE(connect.code, 1);
        QCOMPARE(connect.err, "Cannot create " + (*root_ / "data").string() +
                                  ": a file stands where a folder must be\n");
        const Outcome status = ostrelvan({"status"});
        QVERIFY2(status.out.find("Cannot create " + (dataFolder() / "sessions").string() +
                                 ": a file stands where a folder must be (" +
                                 (*root_ / "data").string() + ").") != std::string::npos,
                 status.out.c_str());
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::CommandLineTest)
#include "CommandLineTest.moc"
