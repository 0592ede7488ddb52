#include "app/services/PermissionRequests.h"

#include "StoreHarness.h"
#include "TestSupport.h"
#include "core/ClaudeRegistry.h"

#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>
#include <csignal>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ostrelvan::test {

namespace {

const nlohmann::ordered_json rule = nlohmann::ordered_json::parse(
    R"([{"type":"addRules","rules":[{"toolName":"Bash","ruleContent":"npm test *"}],)"
    R"("behavior":"allow","destination":"localSettings"}])");

std::string
requestLine(const std::string& id, const std::string& session,
            const std::string& command = "npm test",
            const nlohmann::ordered_json& suggestions = nlohmann::ordered_json::array()) {
    return PermissionMessage::request(id, session, "prompt-1", "/work/" + session, "Bash", command,
                                      suggestions)
        .encode();
}

std::string id(char digit) {
    return std::string(32, digit);
}

// The log lines of the "permissions" category, for checking that a dropped line was told.
QStringList logged;
void collect(QtMsgType, const QMessageLogContext& context, const QString& message) {
    if (context.category && std::strcmp(context.category, "permissions") == 0)
        logged << message;
}

// A helper's end of the socket, driven from this thread while the broker answers from the event
// loop.
struct Helper {
    QLocalSocket socket;

    explicit Helper(const std::filesystem::path& path) {
        socket.connectToServer(QString::fromStdString(path.string()));
    }
    bool connected() { return socket.waitForConnected(5000); }
    void send(const std::string& bytes) {
        socket.write(bytes.data(), qint64(bytes.size()));
        socket.flush();
    }
    // The next line from the app; fails the test when none comes.
    PermissionMessage next() {
        if (!QTest::qWaitFor([this] { return socket.canReadLine(); }, 10000))
            throw std::runtime_error("no line from the app");
        return PermissionMessage::decode(socket.readLine().toStdString());
    }
    bool closedByApp() {
        return QTest::qWaitFor([this] { return socket.state() == QLocalSocket::UnconnectedState; },
                               10000);
    }
};

ClaudeProcess registryRecord(const std::string& session, const std::string& status,
                             TimePoint changed) {
    ClaudeProcess record;
    record.pid = 4242;
    record.sessionId = session;
    record.cwd = "/work/" + session;
    record.status = status;
    record.startedAt = at(-60);
    record.statusUpdatedAt = changed;
    return record;
}

} // namespace

class PermissionRequestsTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { qInstallMessageHandler(collect); }
    void init() { logged.clear(); }

    // Accepted at once, offered, answered once with what the user chose; a second answer to the
    // same id, or one to a request that was replaced, never reaches a helper.
    void acceptsAnswersAndNeverAppliesAStaleAnswer() {
        TempDir root;
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);
        QVERIFY(requests.isListening());
        QSignalSpy added(&requests, &PermissionRequests::requestAdded);
        QSignalSpy ended(&requests, &PermissionRequests::requestEnded);

        Helper plain(requests.socketPath());
        QVERIFY(plain.connected());
        plain.send(requestLine(id('a'), "s1", "npm test"));
        PermissionMessage reply = plain.next();
        QCOMPARE(int(reply.type), int(PermissionMessage::Type::accepted));
        QCOMPARE(reply.requestId, id('a'));
        QCOMPARE(requests.pending().size(), std::size_t(1));
        const PendingRequest offered = requests.pending().front();
        QCOMPARE(offered.sessionId, std::string("s1"));
        QCOMPARE(offered.project, std::string("s1"));
        QCOMPARE(offered.summary, std::string("npm test"));
        QVERIFY(!offered.canAddRule);
        QCOMPARE(added.count(), 1);

        // Without a rule offered, "allow and add the rule" is a plain allow.
        QVERIFY(requests.answer(id('a'), PermissionChoice::allowAndAddRule));
        reply = plain.next();
        QCOMPARE(int(reply.type), int(PermissionMessage::Type::decision));
        QCOMPARE(int(reply.behavior), int(PermissionMessage::Behavior::allow));
        QVERIFY(plain.closedByApp());
        QVERIFY(requests.pending().empty());
        QCOMPARE(ended.count(), 1);
        QVERIFY(!requests.answer(id('a'), PermissionChoice::deny));

        // A session asks again before the first is answered: the older is withdrawn, and an
        // answer meant for it is not given to the newer.
        Helper older(requests.socketPath());
        QVERIFY(older.connected());
        older.send(requestLine(id('b'), "s2", "rm -rf build", rule));
        QCOMPARE(int(older.next().type), int(PermissionMessage::Type::accepted));
        QVERIFY(requests.forSession("s2")->canAddRule);
        Helper newer(requests.socketPath());
        QVERIFY(newer.connected());
        newer.send(requestLine(id('c'), "s2", "make", rule));
        QCOMPARE(int(newer.next().type), int(PermissionMessage::Type::accepted));
        reply = older.next();
        QCOMPARE(int(reply.type), int(PermissionMessage::Type::withdraw));
        QCOMPARE(reply.requestId, id('b'));
        QVERIFY(older.closedByApp());
        QCOMPARE(requests.pending().size(), std::size_t(1));
        QCOMPARE(requests.forSession("s2")->summary, std::string("make"));

        QVERIFY(!requests.answer(id('b'), PermissionChoice::deny));
        QTest::qWait(50);
        QVERIFY(!newer.socket.canReadLine());
        QVERIFY(requests.answer(id('c'), PermissionChoice::allowAndAddRule));
        reply = newer.next();
        QCOMPARE(reply.requestId, id('c'));
        QCOMPARE(int(reply.behavior), int(PermissionMessage::Behavior::allowWithRule));

        Helper denied(requests.socketPath());
        QVERIFY(denied.connected());
        denied.send(requestLine(id('d'), "s3"));
        QCOMPARE(int(denied.next().type), int(PermissionMessage::Type::accepted));
        QVERIFY(requests.answer(id('d'), PermissionChoice::deny));
        QCOMPARE(int(denied.next().behavior), int(PermissionMessage::Behavior::deny));

        // The same id twice is not two requests.
        Helper first(requests.socketPath());
        QVERIFY(first.connected());
        first.send(requestLine(id('e'), "s4"));
        QCOMPARE(int(first.next().type), int(PermissionMessage::Type::accepted));
        Helper again(requests.socketPath());
        QVERIFY(again.connected());
        again.send(requestLine(id('e'), "s5"));
        QCOMPARE(int(again.next().type), int(PermissionMessage::Type::declined));
        QCOMPARE(requests.pending().size(), std::size_t(1));
    }

    // A line that is not a request, not JSON or too long is dropped and logged, its connection
    // closed, and nothing is offered; the next helper is served as usual. A helper that goes
    // away takes its request with it.
    void dropsBadLinesAndForgetsHelpersThatLeave() {
        TempDir root;
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);

        Helper garbled(requests.socketPath());
        QVERIFY(garbled.connected());
        garbled.send("{\"type\":\"request\",\"version\":1,\"requestId\":\n");
        QVERIFY(garbled.closedByApp());
        QVERIFY(!garbled.socket.canReadLine());

        Helper huge(requests.socketPath());
        QVERIFY(huge.connected());
        huge.send(requestLine(id('f'), "s1", std::string(PermissionMessage::maxLine, 'x')));
        huge.send(std::string(PermissionMessage::maxLine, 'y') + "\n");
        QVERIFY(huge.closedByApp());

        Helper impostor(requests.socketPath());
        QVERIFY(impostor.connected());
        impostor.send(
            PermissionMessage::decision(id('1'), PermissionMessage::Behavior::allow).encode());
        QVERIFY(impostor.closedByApp());

        QVERIFY(requests.pending().empty());
        QCOMPARE(logged.filter(QStringLiteral("malformed")).size(), 1);
        QCOMPARE(logged.filter(QStringLiteral("longer than")).size(), 1);
        QCOMPARE(logged.filter(QStringLiteral("does not send")).size(), 1);

        QSignalSpy ended(&requests, &PermissionRequests::requestEnded);
        auto leaving = std::make_unique<Helper>(requests.socketPath());
        QVERIFY(leaving->connected());
        leaving->send(requestLine(id('2'), "s2"));
        QCOMPARE(int(leaving->next().type), int(PermissionMessage::Type::accepted));
        QCOMPARE(requests.pending().size(), std::size_t(1));
        leaving.reset();
        QTRY_VERIFY_WITH_TIMEOUT(requests.pending().empty(), 10000);
        QCOMPARE(ended.count(), 1);
        QVERIFY(!requests.answer(id('2'), PermissionChoice::allow));
    }

    // Answered in the terminal first: the store shows the session moved on, or Claude Code's
    // registry record left "waiting". Either withdraws the request and tells its helper; a
    // later notification that keeps the session waiting does not.
    void withdrawsWhatWasAnsweredInTheTerminal() {
        StoreHarness harness;
        TempDir root;
        TempDir registry;
        PermissionRequests requests(root / "permission.sock", [folder = registry.path()] {
            return ClaudeRegistry::load(folder);
        });
        requests.setClock([&harness] { return harness.now; });
        requests.setEnabled(true);
        connect(&harness.store, &SessionStore::sessionsChanged, &requests,
                [&] { requests.checkSessions(harness.store.sessions()); });

        // The hook event is written before the helper connects.
        harness.put(session("s1", SessionStatus::needsApproval, at(0)));
        harness.now = at(1);
        harness.store.reload();
        Helper helper(requests.socketPath());
        QVERIFY(helper.connected());
        helper.send(requestLine(id('a'), "s1"));
        QCOMPARE(int(helper.next().type), int(PermissionMessage::Type::accepted));

        auto waiting = session("s1", SessionStatus::needsApproval, at(0));
        waiting.lastEvent = at(7); // the permission prompt's notification, still waiting
        harness.put(waiting);
        harness.now = at(8);
        harness.store.reload();
        QCOMPARE(requests.pending().size(), std::size_t(1));

        auto moved = session("s1", SessionStatus::working, at(9));
        moved.lastEvent = at(9);
        harness.put(moved);
        harness.now = at(9);
        harness.store.reload();
        QVERIFY(requests.pending().empty());
        const PermissionMessage withdrawn = helper.next();
        QCOMPARE(int(withdrawn.type), int(PermissionMessage::Type::withdraw));
        QCOMPARE(withdrawn.requestId, id('a'));

        // The registry: "waiting" since before the request stays; a change after it withdraws.
        const auto record = registry.path() / "4242.json";
        const auto writeRecord = [&](const ClaudeProcess& process) {
            nlohmann::json json{
                {"pid", process.pid},
                {"sessionId", process.sessionId},
                {"cwd", process.cwd},
                {"startedAt", 0},
                {"status", *process.status},
                {"updatedAt", process.statusUpdatedAt->time_since_epoch().count()},
                {"statusUpdatedAt", process.statusUpdatedAt->time_since_epoch().count()}};
            writeText(record, json.dump());
        };
        writeRecord(registryRecord("s2", "waiting", at(19)));
        QCOMPARE(ClaudeRegistry::load(registry.path()).size(), std::size_t(1));
        harness.now = at(20);
        Helper second(requests.socketPath());
        QVERIFY(second.connected());
        second.send(requestLine(id('b'), "s2"));
        QCOMPARE(int(second.next().type), int(PermissionMessage::Type::accepted));
        QTest::qWait(3 * PermissionRequests::registryPollMilliseconds);
        QCOMPARE(requests.pending().size(), std::size_t(1));
        writeRecord(registryRecord("s2", "busy", at(21)));
        QCOMPARE(int(second.next().type), int(PermissionMessage::Type::withdraw));
        QVERIFY(requests.pending().empty());
    }

    // Off: no socket, and what waited is withdrawn. A socket file left behind does not stop
    // the next listen.
    void listensOnlyWhileOn() {
        TempDir root;
        writeText(root / "permission.sock", "left behind");
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);
        QVERIFY(requests.isListening());
        QCOMPARE(mode(root / "permission.sock") & 0077u, 0u);

        Helper helper(requests.socketPath());
        QVERIFY(helper.connected());
        helper.send(requestLine(id('a'), "s1"));
        QCOMPARE(int(helper.next().type), int(PermissionMessage::Type::accepted));

        requests.setEnabled(false);
        QVERIFY(!requests.isListening());
        QVERIFY(requests.pending().empty());
        QCOMPARE(int(helper.next().type), int(PermissionMessage::Type::withdraw));
        QVERIFY(!std::filesystem::exists(root / "permission.sock"));
        QLocalSocket late;
        late.connectToServer(QString::fromStdString(requests.socketPath().string()));
        QVERIFY(!late.waitForConnected(1000));

        requests.setEnabled(true);
        QVERIFY(requests.isListening());
    }

    // Another user's process that reaches the socket (here in a folder anyone may enter, the
    // socket opened to all) is refused by its credentials: nothing is offered, and it reads no
    // answer before the app closes the connection.
    void refusesAnotherUser() {
        if (::geteuid() != 0)
            QSKIP("needs root to become another user");
        TempDir root;
        ::chmod(root.path().c_str(), 0777);
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);
        ::chmod(requests.socketPath().c_str(), 0777);

        const std::string line = requestLine(id('a'), "s1");
        const std::string path = requests.socketPath().string();
        const pid_t child = ::fork();
        if (child == 0) {
            if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(3);
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
            if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
                ::_exit(2);
            ::signal(SIGPIPE, SIG_IGN);
            [[maybe_unused]] auto sent = ::write(fd, line.data(), line.size());
            char byte = 0;
            // The end of the stream, or a reset: either way no answer came.
            ::_exit(::read(fd, &byte, 1) <= 0 ? 0 : 1);
        }
        int status = -1;
        QVERIFY(
            QTest::qWaitFor([&] { return ::waitpid(child, &status, WNOHANG) == child; }, 10000));
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
        QVERIFY(requests.pending().empty());
        QCOMPARE(logged.filter(QStringLiteral("another user")).size(), 1);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::PermissionRequestsTest)
#include "PermissionRequestsTest.moc"
