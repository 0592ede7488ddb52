#include "TestSupport.h"
#include "app/platform/WindowActivation.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QMutex>
#include <QTest>
#include <QThread>

namespace ostrelvan::test {

// KWin's scripting interface as far as activation uses it: it reads the script when it runs it.
class FakeScripting : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.kwin.Scripting")
public:
    QStringList calls() const {
        QMutexLocker lock(&mutex_);
        return calls_;
    }

private:
    void record(const QString& call) {
        QMutexLocker lock(&mutex_);
        calls_.push_back(call);
    }

    mutable QMutex mutex_;
    QStringList calls_;
    QString path_;

public slots:
    int loadScript(const QString& path, const QString& name) {
        record(QStringLiteral("load ") + name);
        QMutexLocker lock(&mutex_);
        path_ = path;
        return 3;
    }
    void start() {
        QFile file(path_);
        record(file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : "no script");
    }
    bool unloadScript(const QString& name) {
        record(QStringLiteral("unload ") + name);
        return true;
    }
};

// A Wayland session with no X11 display: the window is asked of KWin over a private session bus,
// where a fake KWin answers from a thread of its own.
class KWinScriptTest : public QObject {
    Q_OBJECT

    TempDir scratch_;
    std::optional<Process> bus_;
    QThread kwinThread_;
    FakeScripting kwin_;

private slots:
    void initTestCase() {
        if (::access("/usr/bin/dbus-daemon", X_OK) != 0)
            QSKIP("dbus-daemon is not installed");
        bus_.emplace(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"},
            std::nullopt, Streams{"/dev/null", scratch_ / "address"});
        QTRY_VERIFY(readText(scratch_ / "address").find('\n') != std::string::npos);
        const std::string address = readText(scratch_ / "address");
        qputenv("DBUS_SESSION_BUS_ADDRESS",
                QByteArray::fromStdString(address.substr(0, address.find('\n'))));
        qputenv("WAYLAND_DISPLAY", "wayland-0");
        qunsetenv("DISPLAY");
    }

    void cleanupTestCase() {
        kwinThread_.quit();
        kwinThread_.wait();
    }

    void withoutKWinNothingCanBeAsked() {
        QCOMPARE(WindowActivation::activate({4242}, std::nullopt),
                 WindowActivation::Outcome::unavailable);
    }

    void kwinRunsAScriptThatActivatesTheNearestProcesssWindow() {
        QDBusConnection kwinBus = QDBusConnection::connectToBus(
            qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("kwin"));
        QVERIFY(kwinBus.isConnected());
        kwin_.moveToThread(&kwinThread_);
        kwinThread_.start();
        QVERIFY(kwinBus.registerObject(QStringLiteral("/Scripting"), &kwin_,
                                       QDBusConnection::ExportAllSlots));
        QVERIFY(kwinBus.registerService(QStringLiteral("org.kde.KWin")));
        QTRY_VERIFY(QDBusConnection::sessionBus().interface()->isServiceRegistered(
            QStringLiteral("org.kde.KWin")));

        QCOMPARE(WindowActivation::activate({4242, 4241, 17}, std::nullopt),
                 WindowActivation::Outcome::activated);
        const QStringList calls = kwin_.calls();
        QCOMPARE(calls.size(), 4);
        QCOMPARE(calls[0], "unload ostrelvan-activate");
        QCOMPARE(calls[1], "load ostrelvan-activate");
        QVERIFY2(calls[2].contains("var pids = [4242, 4241, 17];") &&
                     calls[2].contains("workspace.activeWindow = found"),
                 qPrintable(calls[2]));
        QCOMPARE(calls[3], "unload ostrelvan-activate");
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::KWinScriptTest)
#include "KWinScriptTest.moc"
