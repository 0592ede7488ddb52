#include "app/services/PermissionRequests.h"

#include "ShellTestSupport.h"
#include "StoreHarness.h"
#include "core/ClaudeRegistry.h"

#include <QSignalSpy>
#include <csignal>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

namespace ostrelvan::test {

namespace {

using Type = PermissionMessage::Type;
using Behavior = PermissionMessage::Behavior;

const nlohmann::ordered_json rule = nlohmann::ordered_json::parse(
    R"([{"type":"addRules","rules":[{"toolName":"Bash","ruleContent":"npm test *"}],)"
    R"("behavior":"allow","destination":"localSettings"}])");

std::string id(char digit) {
    return std::string(32, digit);
}

// What the "permissions" category logged that holds `part`.
qsizetype logged(const LogRecorder& log, const char* part) {
    return log.lines()
        .filter(QStringLiteral("permissions: "))
        .filter(QString::fromUtf8(part))
        .size();
}

} // namespace

class PermissionRequestsTest : public QObject {
    Q_OBJECT
private slots:
    // Accepted at once, offered, answered once with what the user chose; a second answer to the
    // same id, or one to a request that was replaced, never reaches a helper.
    void acceptsAnswersAndNeverAppliesAStaleAnswer() {
        TempDir root;
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);
        QSignalSpy added(&requests, &PermissionRequests::requestAdded);
        QSignalSpy ended(&requests, &PermissionRequests::requestEnded);

        HelperSocket plain(requests);
        plain.send(requestLine('a', "s1", "npm test"));
        PermissionMessage reply = plain.next();
        QCOMPARE(reply.type, Type::accepted);
        QCOMPARE(reply.requestId, id('a'));
        QCOMPARE(requests.pending().size(), std::size_t(1));
        const PendingRequest offered = requests.pending().front();
        QCOMPARE(offered.sessionId, std::string("s1")); // its project and command: the tray's
        QVERIFY(!offered.canAddRule);
        QCOMPARE(added.count(), 1);

        // Without a rule offered, "allow and add the rule" is a plain allow.
        QVERIFY(requests.answer(id('a'), PermissionChoice::allowAndAddRule));
        reply = plain.next();
        QCOMPARE(reply.type, Type::decision);
        QCOMPARE(reply.behavior, Behavior::allow);
        QVERIFY(plain.closedByApp());
        QVERIFY(requests.pending().empty());
        QCOMPARE(ended.count(), 1);
        QVERIFY(!requests.answer(id('a'), PermissionChoice::deny));

        // A session asks again before the first is answered: the older is withdrawn, and an
        // answer meant for it is not given to the newer.
        HelperSocket older(requests);
        QCOMPARE(older.ask(requestLine('b', "s2", "rm -rf build", rule)), Type::accepted);
        QVERIFY(requests.forSession("s2")->canAddRule);
        HelperSocket newer(requests);
        QCOMPARE(newer.ask(requestLine('c', "s2", "make", rule)), Type::accepted);
        reply = older.next();
        QCOMPARE(reply.type, Type::withdraw);
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
        QCOMPARE(reply.behavior, Behavior::allowWithRule);

        // The same id twice is not two requests.
        HelperSocket first(requests);
        QCOMPARE(first.ask(requestLine('e', "s4")), Type::accepted);
        HelperSocket again(requests);
        QCOMPARE(again.ask(requestLine('e', "s5")), Type::declined);
        QCOMPARE(requests.pending().size(), std::size_t(1));
    }

    // A line that is not a request, not JSON or too long is dropped and logged, its connection
    // closed, and nothing is offered; the next helper is served as usual. A helper that goes
    // away takes its request with it.
    void dropsBadLinesAndForgetsHelpersThatLeave() {
        TempDir root;
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);
        LogRecorder log;

        HelperSocket garbled(requests);
        garbled.send("{\"type\":\"request\",\"version\":1,\"requestId\":\n");
        QVERIFY(garbled.closedByApp());
        QVERIFY(!garbled.socket.canReadLine());

        HelperSocket huge(requests);
        huge.send(requestLine('f', "s1", std::string(PermissionMessage::maxLine, 'x')));
        huge.send(std::string(PermissionMessage::maxLine, 'y') + "\n");
        QVERIFY(huge.closedByApp());

        HelperSocket impostor(requests);
        impostor.send(PermissionMessage::decision(id('1'), Behavior::allow).encode());
        QVERIFY(impostor.closedByApp());

        QVERIFY(requests.pending().empty());
        QCOMPARE(logged(log, "dropped"), 3); // one line each

        QSignalSpy ended(&requests, &PermissionRequests::requestEnded);
        auto leaving = std::make_unique<HelperSocket>(requests);
        QCOMPARE(leaving->ask(requestLine('2', "s2")), Type::accepted);
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

        // The session's record in status `status` since `since`, its last event at `last`,
        // read by the store at `now`.
        const auto record = [&](SessionStatus status, double since, double last, double now) {
            auto state = session("s1", status, at(since));
            state.lastEvent = at(last);
            harness.put(state);
            harness.now = at(now);
            harness.store.reload();
        };
        // The hook event is written before the helper connects.
        record(SessionStatus::needsApproval, 0, 0, 1);
        HelperSocket helper(requests);
        QCOMPARE(helper.ask(requestLine('a', "s1")), Type::accepted);
        // The permission prompt's notification, still waiting.
        record(SessionStatus::needsApproval, 0, 7, 8);
        QCOMPARE(requests.pending().size(), std::size_t(1));
        record(SessionStatus::working, 9, 9, 9);
        QVERIFY(requests.pending().empty());
        const PermissionMessage withdrawn = helper.next();
        QCOMPARE(withdrawn.type, Type::withdraw);
        QCOMPARE(withdrawn.requestId, id('a'));

        // The registry: "waiting" since before the request stays; a change after it withdraws.
        const auto writeRecord = [&](const std::string& status, TimePoint changed) {
            const auto time = std::to_string(changed.time_since_epoch().count());
            writeText(registry / "4242.json",
                      R"({"pid":4242,"sessionId":"s2","cwd":"/work/s2","startedAt":0,"status":")" +
                          status + R"(","updatedAt":)" + time + R"(,"statusUpdatedAt":)" + time +
                          "}");
        };
        writeRecord("waiting", at(19));
        harness.now = at(20);
        HelperSocket second(requests);
        QCOMPARE(second.ask(requestLine('b', "s2")), Type::accepted);
        QTest::qWait(3 * PermissionRequests::registryPollMilliseconds);
        QCOMPARE(requests.pending().size(), std::size_t(1));
        writeRecord("busy", at(21));
        QCOMPARE(second.next().type, Type::withdraw);
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

        HelperSocket helper(requests);
        QCOMPARE(helper.ask(requestLine('a', "s1")), Type::accepted);

        requests.setEnabled(false);
        QVERIFY(!requests.isListening());
        QVERIFY(requests.pending().empty());
        QCOMPARE(helper.next().type, Type::withdraw);
        QVERIFY(!std::filesystem::exists(root / "permission.sock")); // so nothing can connect

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

        const std::string line = requestLine('a', "s1");
        LogRecorder log;
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
        QCOMPARE(logged(log, "another user"), 1);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::PermissionRequestsTest)
#include "PermissionRequestsTest.moc"
