#include "SessionCoding.h"
#include "SessionFileStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
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

namespace {

struct Result {
    int code = -1;
    QByteArray out;
    QByteArray err;
};

QString date(TimePoint time) {
    return QString::fromStdString(SessionCoding::formatDate(time));
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

} // namespace

// Runs the real executable over a home, a data folder, a Claude Code config folder and a
// settings folder, all built here as fixtures.
class CommandLineTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> root_;
    QString path(const QString& relative) const { return root_->filePath(relative); }
    QString dataFolder() const { return path(QStringLiteral("data/Ostrelvan")); }
    QString settingsFile() const { return path(QStringLiteral("xdg/Ostrelvan/Ostrelvan.conf")); }

    Result run(const QStringList& arguments, const QStringList& extraEnvironment = {}) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", path("home"));
        environment.insert("OSTRELVAN_DATA_DIR", dataFolder());
        environment.insert("CLAUDE_CONFIG_DIR", path("claude"));
        environment.insert("XDG_CONFIG_HOME", path("xdg"));
        environment.remove("NO_COLOR");
        for (const auto& entry : extraEnvironment) {
            environment.insert(entry.section('=', 0, 0), entry.section('=', 1));
        }
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(OSTRELVAN_EXECUTABLE), arguments);
        if (!process.waitForFinished(30000)) {
            process.kill();
            return {};
        }
        return {process.exitCode(), process.readAllStandardOutput(),
                process.readAllStandardError()};
    }

    void putSession(const SessionState& state) {
        const auto folder = (dataFolder() + "/sessions").toStdString();
        std::filesystem::create_directories(folder);
        SessionFileStore::write(state, SessionFileStore(folder).fileURL(state.sessionId));
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
        alpha.statusSince = now - 90s;
        alpha.lastEvent = now - 5s;
        putSession(alpha);
        auto beta = SessionState::make("beta", "/work/beta-app", SessionHost::vscode, std::nullopt,
                                       std::nullopt, now - 2h);
        beta.status = SessionStatus::awaitingReview;
        beta.backgroundTasks = 2;
        beta.startedConversation = true;
        beta.statusSince = beta.lastEvent = now - 1h;
        putSession(beta);
        auto gamma = beta;
        gamma.sessionId = "gamma";
        gamma.firstSeen = now - 1h;
        gamma.statusSince = gamma.lastEvent = now - 10s;
        gamma.backgroundTasks = 0;
        putSession(gamma);
        auto old = gamma;
        old.sessionId = "old";
        old.firstSeen = old.statusSince = old.lastEvent = now - 7h;
        putSession(old);
        auto silent = gamma;
        silent.sessionId = "silent";
        silent.startedConversation = false;
        putSession(silent);

        const auto startedMs =
            std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
        writeFile(path("claude/sessions/%1.json").arg(pid),
                  QStringLiteral(R"({"pid":%1,"sessionId":"alpha","cwd":"/work/alpha",)"
                                 R"("kind":"interactive","status":"busy","startedAt":%2})")
                      .arg(pid)
                      .arg(startedMs)
                      .toUtf8());
        writeFile(path("claude/projects/-work-alpha/alpha.jsonl"),
                  R"({"type":"user","message":"hi"})"
                  "\n"
                  R"({"type":"custom-title","customTitle":"Fix login"})"
                  "\n");
        {
            QSettings settings(settingsFile(), QSettings::IniFormat);
            settings.setValue("review.fade", "never");
            settings.setValue(
                "sessions.acknowledged",
                QVariantMap{{"gamma", (gamma.lastEvent - TimePoint{}).count() / 1000.0 - 978307200},
                            {"gone", 1.0}});
        }

        const Result result = run({"status", "--json"});
        QCOMPARE(result.code, 0);
        QCOMPARE(result.err, QByteArray());
        const auto document = QJsonDocument::fromJson(result.out);
        QVERIFY2(document.isObject(), result.out.constData());
        QCOMPARE(document.object().keys(), QStringList{"groups"});
        const QJsonArray groups = document["groups"].toArray();
        QCOMPARE(groups.size(), 3);

        const QJsonObject window = groups[0].toObject();
        QCOMPARE(window["id"].toString(),
                 QStringLiteral("window-%1").arg(QCoreApplication::applicationPid()));
        QCOMPARE(window["name"].toString(), QStringLiteral("alpha"));
        QCOMPARE(window["sessions"].toArray().size(), 1);
        QCOMPARE(window["sessions"][0].toObject(),
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
        QCOMPARE(groups[1]["name"].toString(), QStringLiteral("beta-app"));
        QCOMPARE(groups[1]["sessions"][0].toObject(),
                 (QJsonObject{{"sessionId", "beta"},
                              {"name", "beta-app"},
                              {"status", "awaitingReview"}, // the review fade is "never"
                              {"activity", "working"},
                              {"statusLine", "Awaiting review · 2 background tasks"},
                              {"project", "beta-app"},
                              {"folder", "/work/beta-app"},
                              {"host", "vscode"},
                              {"statusSince", date(beta.statusSince)},
                              {"lastEvent", date(beta.lastEvent)}}));
        QCOMPARE(groups[2]["id"].toString(), QStringLiteral("session-gamma"));
        QCOMPARE(groups[2]["sessions"][0]["status"].toString(), QStringLiteral("idle"));
        QCOMPARE(groups[2]["sessions"][0]["name"].toString(), QStringLiteral("beta-app #2"));

        // The keys come in the documented order.
        const QList<QByteArray> order{
            "sessionId", "name",        "status", "activity", "statusLine",  "project",  "folder",
            "host",      "terminalApp", "pid",    "title",    "statusSince", "lastEvent"};
        qsizetype previous = result.out.indexOf("\"id\"");
        for (const auto& key : order) {
            const auto at = result.out.indexOf("\"" + key + "\"", previous);
            QVERIFY2(at > previous, key.constData());
            previous = at;
        }

        QVERIFY(!QFile::exists(dataFolder() + "/sessions/old.json"));
        QSettings after(settingsFile(), QSettings::IniFormat);
        QCOMPARE(after.value("sessions.acknowledged").toMap().keys(), QStringList{"gamma"});

        const Result line = run({"status", "--line"});
        QCOMPARE(line.code, 0);
        QCOMPARE(QString::fromUtf8(line.out), QStringLiteral("●1 ◆1 ○1\n"));

        const Result human = run({"status"}, {"NO_COLOR=1"});
        QCOMPARE(human.code, 0);
        QVERIFY2(!human.out.contains('\033'), human.out.constData());
        QVERIFY2(human.out.contains("  ● Fix login    alpha     Running tests…"),
                 human.out.constData());
        QVERIFY(human.out.contains("Not connected to Claude Code"));

        agent.kill();
        agent.waitForFinished();
    }

    void emptyStateFollowsTheConnection() {
        const Result notConnected = run({"status"});
        QCOMPARE(notConnected.code, 0);
        QVERIFY2(notConnected.out.startsWith("Not connected to Claude Code"),
                 notConnected.out.constData());
        QCOMPARE(run({"status", "--line"}).out, QByteArray());
        QCOMPARE(run({"status", "--json"}).out, QByteArray("{\"groups\":[]}\n"));

        QCOMPARE(run({"connect"}).code, 0);
        const Result connected = run({"status"});
        QCOMPARE(connected.out,
                 QByteArray("No sessions yet\nStart Claude Code and it shows up here.\n"));
        QCOMPARE(run({"disconnect"}).code, 0);
    }

    // Without a terminal the live view appends each new state, which makes it observable here.
    void watchRedrawsOnChangeAndLeavesOnSignal() {
        QProcess watch;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", path("home"));
        environment.insert("OSTRELVAN_DATA_DIR", dataFolder());
        environment.insert("CLAUDE_CONFIG_DIR", path("claude"));
        environment.insert("XDG_CONFIG_HOME", path("xdg"));
        watch.setProcessEnvironment(environment);
        watch.start(QStringLiteral(OSTRELVAN_EXECUTABLE), {QStringLiteral("watch")});
        QByteArray seen;
        const auto waitFor = [&](const QByteArray& text) {
            for (int i = 0; i < 100 && !seen.contains(text); ++i) {
                watch.waitForReadyRead(100);
                seen += watch.readAllStandardOutput();
            }
            return seen.contains(text);
        };
        QVERIFY2(waitFor("Not connected to Claude Code"), seen.constData());

        auto state = SessionState::make("delta", "/work/delta", SessionHost::terminal, std::nullopt,
                                        std::nullopt, wallClockNow());
        state.status = SessionStatus::needsApproval;
        state.startedConversation = true;
        putSession(state);
        QVERIFY2(waitFor("delta  Needs approval"), seen.constData());
        QVERIFY(seen.contains("Ostrelvan · 1 Claude Code session\n"));

        ::kill(static_cast<pid_t>(watch.processId()), SIGINT);
        QVERIFY(watch.waitForFinished(10000));
        QCOMPARE(watch.exitStatus(), QProcess::NormalExit);
        QCOMPARE(watch.exitCode(), 0);
    }

    void speaksLikeAUnixCommand() {
        const Result version = run({"--version"});
        QCOMPARE(version.code, 0);
        QVERIFY(version.out.startsWith("ostrelvan "));
        const Result help = run({"status", "--help"});
        QCOMPARE(help.code, 0);
        QVERIFY(help.out.startsWith("usage: ostrelvan"));
        for (const QStringList& wrong :
             {QStringList{"frobnicate"}, QStringList{"status", "--yaml"},
              QStringList{"status", "--json", "--line"}, QStringList{"--verbose"}}) {
            const Result result = run(wrong);
            QCOMPARE(result.code, 2);
            QCOMPARE(result.out, QByteArray());
            QVERIFY2(result.err.contains("usage: ostrelvan"), result.err.constData());
        }
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::CommandLineTest)
#include "CommandLineTest.moc"
