#include "SessionCoding.h"
#include "SessionFileStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <chrono>
#include <csignal>
#include <memory>

namespace ostrelvan::test {

using namespace std::chrono_literals;

struct Result {
    int code = -1;
    QByteArray out;
    QByteArray err;
};

static QString date(TimePoint time) {
    return QString::fromStdString(SessionCoding::formatDate(time));
}

static void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// Runs the real executable over a home, a data folder, a Claude Code config folder and a
// settings folder, all built here as fixtures.
class CommandLineTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> root_;
    QString path(const QString& relative) const { return root_->filePath(relative); }
    QString dataFolder() const { return path(QStringLiteral("data/Ostrelvan")); }

    void prepare(QProcess& process, const QStringList& arguments, bool noColor = false) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", path("home"));
        environment.insert("OSTRELVAN_DATA_DIR", dataFolder());
        environment.insert("CLAUDE_CONFIG_DIR", path("claude"));
        environment.insert("XDG_CONFIG_HOME", path("xdg"));
        environment.insert("NO_COLOR", noColor ? "1" : "");
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(OSTRELVAN_EXECUTABLE), arguments);
    }

    Result run(const QStringList& arguments, bool noColor = false) {
        QProcess process;
        prepare(process, arguments, noColor);
        if (!process.waitForFinished(30000)) {
            process.kill();
            return {};
        }
        return {process.exitCode(), process.readAllStandardOutput(),
                process.readAllStandardError()};
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
        const auto folder = (dataFolder() + "/sessions").toStdString();
        std::filesystem::create_directories(folder);
        SessionFileStore::write(state, SessionFileStore(folder).fileURL(state.sessionId));
        return state;
    }

private slots:
    void init() { root_ = std::make_unique<QTemporaryDir>(); }

    void statusJsonDescribesEverySessionShown() {
        QProcess agent; // stands in for a Claude Code process
        agent.start(QStringLiteral("sleep"), {QStringLiteral("120")});
        QVERIFY(agent.waitForStarted());
        const auto pid = static_cast<std::int32_t>(agent.processId());
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
        writeFile(path("claude/sessions/%1.json").arg(pid),
                  QStringLiteral("{\"pid\":%1,\"sessionId\":\"alpha\",\"cwd\":\"/work/alpha\","
                                 "\"kind\":\"interactive\",\"status\":\"busy\",\"startedAt\":%2}")
                      .arg(pid)
                      .arg((now - TimePoint{}).count())
                      .toUtf8());
        writeFile(path("claude/projects/-work-alpha/alpha.jsonl"),
                  "{\"type\":\"custom-title\",\"customTitle\":\"Fix login\"}\n");
        {
            QSettings settings(path("xdg/Ostrelvan/Ostrelvan.conf"), QSettings::IniFormat);
            settings.setValue("review.fade", "never");
            const double seen = (gamma.lastEvent - TimePoint{}).count() / 1000.0 - 978307200;
            settings.setValue("sessions.acknowledged", QVariantMap{{"gamma", seen}, {"gone", 1}});
        }

        const Result result = run({"status", "--json"});
        QCOMPARE(result.code, 0);
        QCOMPARE(result.err, QByteArray());
        const auto groups = QJsonDocument::fromJson(result.out)["groups"].toArray();
        QCOMPARE(groups.size(), 3);
        QCOMPARE(groups[0]["id"].toString(),
                 QStringLiteral("window-%1").arg(QCoreApplication::applicationPid()));
        QCOMPARE(groups[0]["name"].toString(), QStringLiteral("alpha"));
        QCOMPARE(groups[0]["sessions"].toArray().size(), 1);
        QCOMPARE(groups[0]["sessions"][0].toObject(),
                 (QJsonObject{{"sessionId", "alpha"},
                              {"name", "Fix login"},
                              {"status", "working"},
                              {"activity", "runningTests"},
                              {"statusLine", "Running tests…"},
                              {"project", "alpha"},
                              {"folder", "/work/alpha"},
                              {"host", "terminal"},
                              {"terminalApp", "kitty"},
                              {"pid", pid},
                              {"title", "Fix login"},
                              {"statusSince", date(alpha.statusSince)},
                              {"lastEvent", date(alpha.lastEvent)}}));
        QCOMPARE(groups[1]["id"].toString(), QStringLiteral("session-beta"));
        QCOMPARE(groups[1]["sessions"][0].toObject(),
                 (QJsonObject{{"sessionId", "beta"},
                              {"name", "beta-app"},
                              {"status", "awaitingReview"}, // the review fade is "never"
                              {"activity", "working"},
                              {"statusLine", "Awaiting review"},
                              {"project", "beta-app"},
                              {"folder", "/work/beta-app"},
                              {"host", "vscode"},
                              {"statusSince", date(beta.statusSince)},
                              {"lastEvent", date(beta.lastEvent)}}));
        QCOMPARE(groups[2]["sessions"][0]["name"].toString(), QStringLiteral("beta-app #2"));
        QCOMPARE(groups[2]["sessions"][0]["status"].toString(), QStringLiteral("idle"));
        // Keys in the documented order.
        QVERIFY(result.out.startsWith("{\"groups\":[{\"id\":\"window-"));
        QVERIFY(result.out.contains("{\"sessionId\":\"beta\",\"name\":\"beta-app\",\"status\""));
        QVERIFY(result.out.contains("\"folder\":\"/work/alpha\",\"host\":\"terminal\","
                                    "\"terminalApp\":\"kitty\",\"pid\":"));

        QVERIFY(!QFile::exists(dataFolder() + "/sessions/old.json"));
        QSettings after(path("xdg/Ostrelvan/Ostrelvan.conf"), QSettings::IniFormat);
        QCOMPARE(after.value("sessions.acknowledged").toMap().keys(), QStringList{"gamma"});
        QCOMPARE(run({"status", "--line"}).out, QByteArray("●1 ◆1 ○1\n"));
        const Result human = run({"status"}, true);
        QVERIFY2(human.out.startsWith("  ● Fix login    alpha     Running tests…   3h\n"),
                 human.out.constData());
        agent.kill();
        agent.waitForFinished();
    }

    void emptyStateFollowsTheConnection() {
        QVERIFY(run({"status"}).out.startsWith("Not connected to Claude Code"));
        QCOMPARE(run({"status", "--line"}).out, QByteArray());
        QCOMPARE(run({"status", "--json"}).out, QByteArray("{\"groups\":[]}\n"));
        QCOMPARE(run({"connect"}).code, 0);
        QCOMPARE(run({"status"}).out,
                 QByteArray("No sessions yet\nStart Claude Code and it shows up here.\n"));
    }

    // Without a terminal the live view appends each new state, which makes it observable here.
    void watchRedrawsOnChangeAndLeavesOnSignal() {
        QProcess watch;
        prepare(watch, {QStringLiteral("watch")});
        QByteArray seen;
        const auto waitFor = [&](const QByteArray& text) {
            for (int i = 0; i < 100 && !seen.contains(text); ++i) {
                watch.waitForReadyRead(100);
                seen += watch.readAllStandardOutput();
            }
            return seen.contains(text);
        };
        QVERIFY2(waitFor("Not connected to Claude Code"), seen.constData());
        put(session("delta", "/work/delta", SessionStatus::needsApproval, wallClockNow()));
        QVERIFY2(waitFor("Ostrelvan · 1 Claude Code session\n\n  ● delta  Needs approval"),
                 seen.constData());
        ::kill(static_cast<pid_t>(watch.processId()), SIGINT);
        QVERIFY(watch.waitForFinished(10000));
        QCOMPARE(watch.exitStatus(), QProcess::NormalExit);
        QCOMPARE(watch.exitCode(), 0);
    }

    void speaksLikeAUnixCommand() {
        QVERIFY(run({"--version"}).out.startsWith("ostrelvan "));
        QVERIFY(run({"status", "--help"}).out.startsWith("usage: ostrelvan"));
        for (const auto& wrong : {QStringList{"frobnicate"}, QStringList{"status", "--yaml"},
                                  QStringList{"status", "--json", "--line"}}) {
            const Result result = run(wrong);
            QCOMPARE(result.code, 2);
            QVERIFY(result.out.isEmpty() && result.err.contains("usage: ostrelvan"));
        }
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::CommandLineTest)
#include "CommandLineTest.moc"
