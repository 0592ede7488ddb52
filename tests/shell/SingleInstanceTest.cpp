#include "app/shell/SingleInstance.h"

#include "TestSupport.h"

#include <QSignalSpy>
#include <QTest>
#include <future>

namespace ostrelvan::test {

class SingleInstanceTest : public QObject {
    Q_OBJECT
private slots:
    void oneSocketPerUserAndDataFolder() {
        const QString a = SingleInstance::socketPath(
            {{"XDG_RUNTIME_DIR", "/run/user/7"}, {"OSTRELVAN_DATA_DIR", "/data/a/Ostrelvan"}});
        const QString b = SingleInstance::socketPath(
            {{"XDG_RUNTIME_DIR", "/run/user/7"}, {"OSTRELVAN_DATA_DIR", "/data/b/Ostrelvan"}});
        QVERIFY(a.startsWith(QStringLiteral("/run/user/7/ostrelvan-%1-").arg(::getuid())));
        QVERIFY(a != b);
        QCOMPARE(SingleInstance::socketPath({{"XDG_RUNTIME_DIR", "/run/user/7"},
                                             {"OSTRELVAN_DATA_DIR", "/data/a/Ostrelvan/"}}),
                 a);
    }

    // The second start runs on another thread, as it would in another process, while this one
    // answers from its event loop.
    void aSecondStartAsksTheFirstToOpenItsPanel() {
        TempDir runtime;
        const QString path = QString::fromStdString((runtime / "instance.socket").string());
        writeText(runtime / "instance.socket", ""); // left behind by a crash
        SingleInstance first(path);
        QVERIFY(first.claim(std::chrono::milliseconds(200)));
        QSignalSpy requests(&first, &SingleInstance::presentRequested);

        auto second = std::async(std::launch::async, [path] {
            SingleInstance other(path);
            return other.claim();
        });
        QTRY_VERIFY(second.wait_for(std::chrono::seconds(0)) == std::future_status::ready);
        QVERIFY(!second.get());
        QCOMPARE(requests.count(), 1);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::SingleInstanceTest)
#include "SingleInstanceTest.moc"
