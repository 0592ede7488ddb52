#include "app/shell/PermissionNotifier.h"

#include "ShellTestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace ostrelvan::test {

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
} // namespace

// A notification server that records what it is asked, on its own connection to the test's bus.
class StandInServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Shown {
        uint id;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
    };

    bool offersActions = true;
    std::vector<Shown> shown;
    std::vector<uint> closed;

    explicit StandInServer(const QString& address)
        : bus_(QDBusConnection::connectToBus(address, QStringLiteral("stand-in"))) {
        bus_.registerObject(path, this, QDBusConnection::ExportAllSlots);
        bus_.registerService(service);
    }
    ~StandInServer() override {
        bus_.unregisterService(service);
        QDBusConnection::disconnectFromBus(QStringLiteral("stand-in"));
    }

    // What a user's click on an action sends.
    void invoke(uint id, const QString& action) {
        QDBusMessage signal =
            QDBusMessage::createSignal(path, service, QStringLiteral("ActionInvoked"));
        signal << id << action;
        bus_.send(signal);
    }

public slots:
    QStringList GetCapabilities() {
        return offersActions ? QStringList{QStringLiteral("body"), QStringLiteral("actions")}
                             : QStringList{QStringLiteral("body")};
    }
    uint Notify(const QString&, uint, const QString&, const QString& summary, const QString& body,
                const QStringList& actions, const QVariantMap& hints, int) {
        const uint id = uint(shown.size()) + 1;
        shown.push_back({id, summary, body, actions, hints});
        return id;
    }
    void CloseNotification(uint id) { closed.push_back(id); }

private:
    QDBusConnection bus_;
};

class PermissionNotifierTest : public QObject {
    Q_OBJECT
private:
    TempDir folder_;
    std::optional<Process> bus_;

private slots:
    // A private session bus, which the notifications use as the user's own.
    void initTestCase() {
        const Path address = folder_ / "address";
        bus_.emplace(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"},
            std::nullopt, Streams{"/dev/null", address, folder_ / "bus.log"});
        const auto line = firstLine(address);
        QVERIFY(line);
        qputenv("DBUS_SESSION_BUS_ADDRESS", QByteArray::fromStdString(*line));
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    // Each new request is shown with its project, its command and the two actions; an answer
    // elsewhere withdraws it; the "allow" action answers the helper; nothing is shown in the
    // first moments after launch; a server without actions gets none.
    void notifiesWithdrawsAndAnswers() {
        StandInServer server(QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")));
        TempDir root;
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);
        TimePoint now = wallClockNow();
        PermissionNotifier notifier(requests, addSeconds(now, -60), [&] { return now; });

        HelperSocket first(requests);
        QCOMPARE(first.ask(requestLine('a', "web")), PermissionMessage::Type::accepted);
        QTRY_COMPARE_WITH_TIMEOUT(server.shown.size(), std::size_t(1), 10000);
        const auto shown = server.shown.front();
        QCOMPARE(shown.summary, QStringLiteral("web needs approval"));
        QCOMPARE(shown.body, QStringLiteral("npm test"));
        QCOMPARE(shown.actions, (QStringList{QStringLiteral("allow"), QStringLiteral("Allow"),
                                             QStringLiteral("deny"), QStringLiteral("Deny")}));
        QCOMPARE(shown.hints.value(QStringLiteral("suppress-sound")).toBool(), true);

        // Answered on the row: the notification goes.
        QVERIFY(requests.answer(std::string(32, 'a'), PermissionChoice::deny));
        QTRY_COMPARE_WITH_TIMEOUT(server.closed, std::vector<uint>{shown.id}, 10000);

        // "allow" clicked on the notification reaches the helper.
        HelperSocket second(requests);
        QCOMPARE(second.ask(requestLine('b', "api", "make deploy")),
                 PermissionMessage::Type::accepted);
        QTRY_COMPARE_WITH_TIMEOUT(server.shown.size(), std::size_t(2), 10000);
        server.invoke(server.shown.back().id, QStringLiteral("allow"));
        const auto decision = second.next();
        QCOMPARE(decision.behavior, PermissionMessage::Behavior::allow);
        QCOMPARE(decision.requestId, std::string(32, 'b'));

        // An action on a notification whose request already ended answers nothing.
        HelperSocket third(requests);
        QCOMPARE(third.ask(requestLine('c', "docs", "ls")), PermissionMessage::Type::accepted);
        QTRY_COMPARE_WITH_TIMEOUT(server.shown.size(), std::size_t(3), 10000);
        server.invoke(server.shown.front().id, QStringLiteral("deny"));
        QTest::qWait(200);
        QCOMPARE(requests.pending().size(), std::size_t(1));
        QVERIFY(!third.socket.canReadLine());

        // Just launched: quiet.
        PermissionRequests early(root / "early.sock");
        early.setEnabled(true);
        PermissionNotifier quiet(early, now, [&] { return now; });
        HelperSocket fourth(early);
        QCOMPARE(fourth.ask(requestLine('d', "cli", "ls")), PermissionMessage::Type::accepted);
        QTest::qWait(300);
        QCOMPARE(server.shown.size(), std::size_t(3));

        // A server without actions still shows the request, with no buttons of its own.
        server.offersActions = false;
        PermissionNotifier plain(early, addSeconds(now, -60), [&] { return now; });
        HelperSocket fifth(early);
        QCOMPARE(fifth.ask(requestLine('e', "site")), PermissionMessage::Type::accepted);
        QTRY_COMPARE_WITH_TIMEOUT(server.shown.size(), std::size_t(4), 10000);
        QVERIFY(server.shown.back().actions.isEmpty());
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::PermissionNotifierTest)
#include "PermissionNotifierTest.moc"
