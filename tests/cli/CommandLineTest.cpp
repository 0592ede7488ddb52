#include "SessionCoding.h"
#include "SessionFileStore.h"
#include "TestSupport.h"

#include <QSettings>
#include <QTest>
#include <chrono>
#include <memory>

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

    static SessionState session(const std::string& id, const std::string& cwd, SessionStatus status,
                                TimePoint since) {
        auto state =
            SessionState::make(id, cwd, SessionHost::vscode, std::nullopt, std::nullopt, since);
        state.status = status;
        state.startedConversation = true;
        return state;
    }

    SessionState put(const SessionState& state) {
        std::filesystem::create_directories(dataFolder() / "sessions");
        SessionFileStore::write(state, dataFolder() / "sessions" / (state.sessionId + ".json"));
        return state;
    }

private slots:
    void init() { root_ = std::make_unique<TempDir>(); }

    void statusJsonDescribesEverySessionShown() {
        Process agent({"sleep", "120"}); // stands in for a Claude Code process
        const auto pid = static_cast<std::int32_t>(agent.pid());
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
        writeText(*root_ / "claude/sessions" / (std::to_string(pid) + ".json"),
                  R"({"pid":)" + std::to_string(pid) +
                      R"(,"sessionId":"alpha","cwd":"/work/alpha","kind":"interactive",)"
                      R"("status":"busy","startedAt":)" +
                      std::to_string((now - TimePoint{}).count()) + "}");
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
        // The whole document, field by field in the documented order; the review fade is "never".
        std::string expected = R"({"groups":[
            {"id":"window-$window","name":"alpha","sessions":[{"sessionId":"alpha",
            "name":"Fix login","status":"working","activity":"runningTests",
            "statusLine":"Running tests…","project":"alpha","folder":"/work/alpha","host":"terminal",
            "terminalApp":"kitty","pid":$pid,"title":"Fix login",$alpha}]},
            {"id":"session-beta","name":"beta-app","sessions":[{"sessionId":"beta","name":"beta-app",
            "status":"awaitingReview","activity":"working","statusLine":"Awaiting review",
            "project":"beta-app","folder":"/work/beta-app","host":"vscode",$beta}]},
            {"id":"session-gamma","name":"beta-app","sessions":[{"sessionId":"gamma",
            "name":"beta-app #2","status":"idle","activity":"working","statusLine":"Idle",
            "project":"beta-app","folder":"/work/beta-app","host":"vscode",$gamma}]}]})";
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

        QVERIFY(!std::filesystem::exists(dataFolder() / "sessions/old.json"));
        QSettings after(path("xdg/Ostrelvan/Ostrelvan.conf"), QSettings::IniFormat);
        QCOMPARE(after.value("sessions.acknowledged").toMap().keys(), QStringList{"gamma"});
        QCOMPARE(ostrelvan({"status", "--line"}).out, "●1 ◆1 ○1\n");
        const Outcome human = ostrelvan({"status"});
        QVERIFY2(human.out.starts_with("  ● Fix login    alpha     Running tests…   3h\n"),
                 human.out.c_str());
    }

    void emptyStateFollowsTheConnection() {
        QVERIFY(ostrelvan({"status"}).out.starts_with("Not connected to Claude Code"));
        QCOMPARE(ostrelvan({"status", "--line"}).out, "");
        QCOMPARE(ostrelvan({"status", "--json"}).out, "{\"groups\":[]}\n");
        QCOMPARE(ostrelvan({"connect"}).code, 0);
        QCOMPARE(ostrelvan({"status"}).out,
                 "No sessions yet\nStart Claude Code and it shows up here.\n");
    }

    // Without a terminal the live view appends each new state, which makes it observable here.
    void watchRedrawsOnChangeAndLeavesOnSignal() {
        const Path seen = *root_ / "watch.out";
        Process watch({OSTRELVAN_EXECUTABLE, "watch"}, environment(), {"/dev/null", seen});
        const auto waitFor = [&](const std::string& text) {
            for (int i = 0; i < 100 && readText(seen).find(text) == std::string::npos; ++i)
                QTest::qWait(100);
            return readText(seen).find(text) != std::string::npos;
        };
        QVERIFY2(waitFor("Not connected to Claude Code"), readText(seen).c_str());
        put(session("delta", "/work/delta", SessionStatus::needsApproval, wallClockNow()));
        QVERIFY2(waitFor("Ostrelvan · 1 Claude Code session\n\n  ● delta  Needs approval"),
                 readText(seen).c_str());
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
        QCOMPARE(ostrelvan({"open"}).code, 2);
        QCOMPARE(ostrelvan({"open", "beta", "alpha-1"}).code, 2);
    }

    // No display and no session bus: a VS Code session opens through the `code` command and the
    // desktop's URL handler, a terminal session whose window cannot be found shows its folder.
    // Both are acknowledged as opening them from the widget would.
    void openGoesToVSCodeOrTheFolderAndAcknowledges() {
        const Path bin = *root_ / "bin", calls = *root_ / "calls";
        for (const char* tool : {"code", "xdg-open"}) {
            writeText(bin / tool,
                      "#!/bin/sh\necho \"$(basename \"$0\") $*\" >> " + calls.string() + "\n");
            std::filesystem::permissions(bin / tool, std::filesystem::perms::owner_all);
        }
        Process agent({"sleep", "120"});
        const TimePoint now = wallClockNow();
        put(session("vs-1", "/work/vs", SessionStatus::awaitingReview, now));
        auto terminal = session("term-1", "/work/term", SessionStatus::awaitingReview, now);
        terminal.host = SessionHost::terminal;
        terminal.pid = static_cast<std::int32_t>(agent.pid());
        put(terminal);
        Variables variables = environment();
        variables["PATH"] = bin.string() + ":/usr/bin:/bin";
        variables["DBUS_SESSION_BUS_ADDRESS"] = "disabled:";

        for (const char* id : {"vs", "term"}) {
            const Outcome result = run({OSTRELVAN_EXECUTABLE, "open", id}, variables);
            QCOMPARE(result.code, 0);
        }
        // The tools run detached, so the two commands' calls may land in either order.
        const auto lines = [&] {
            auto list = QString::fromStdString(readText(calls)).split('\n', Qt::SkipEmptyParts);
            list.sort();
            return list;
        };
        QTRY_COMPARE(lines(),
                     (QStringList{"code /work/vs", "xdg-open /work/term",
                                  "xdg-open vscode://anthropic.claude-code/open?session=vs-1"}));
        QCOMPARE(ostrelvan({"status", "--line"}).out, "○2\n");
    }

    void speaksLikeAUnixCommand() {
        QVERIFY(ostrelvan({"--version"}).out.starts_with("ostrelvan "));
        QVERIFY(ostrelvan({"status", "--help"}).out.starts_with("usage: ostrelvan"));
        for (const auto& wrong : {std::vector<std::string>{"frobnicate"},
                                  {"status", "--yaml"},
                                  {"status", "--json", "--line"}}) {
            const Outcome result = ostrelvan(wrong);
            QCOMPARE(result.code, 2);
            QVERIFY(result.out.empty() && result.err.find("usage: ostrelvan") != std::string::npos);
        }
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::CommandLineTest)
#include "CommandLineTest.moc"
