#include "app/store/SessionFolderWatcher.h"

#include "TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace ostrelvan::test {

// What the hook helper does: write a temporary file beside the target, then rename it over.
static void replace(const QString& folder, const char* name = "a") {
    const std::string target = folder.toStdString() + "/" + name + ".json";
    writeText(target + ".tmp", "{}");
    std::filesystem::rename(target + ".tmp", target);
}

class SessionFolderWatcherTest : public QObject {
    Q_OBJECT
private slots:
    // A lone change is told at once; a burst right after it is coalesced into one more delivery,
    // which comes after the burst's last write and never later than the longest delay.
    void aLoneChangeAtOnceAndABurstCoalesced() {
        QTemporaryDir folder;
        SessionFolderWatcher watcher(folder.path());
        QVERIFY(watcher.watchesFolder());
        QSignalSpy spy(&watcher, &SessionFolderWatcher::changed);
        QElapsedTimer clock;
        clock.start();
        replace(folder.path());
        QVERIFY(spy.wait(5000));
        const qint64 first = clock.elapsed();
        QCOMPARE(spy.count(), 1);

        for (int i = 0; i < 10; ++i) {
            replace(folder.path(), i % 2 ? "a" : "b");
            QTest::qWait(10);
        }
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 2, 5000);
        QTest::qWait(2 * int(SessionFolderWatcher::debounce.count()));
        QCOMPARE(spy.count(), 2);
        // The lone change did not wait out the debounce (generous for a loaded machine).
        QVERIFY2(first < 2000, qPrintable(QString::number(first)));
    }

    // Writes that never pause are still shown, every longest delay or so, not only at the end.
    void aStreamThatNeverPausesIsStillTold() {
        QTemporaryDir folder;
        SessionFolderWatcher watcher(folder.path());
        QSignalSpy spy(&watcher, &SessionFolderWatcher::changed);
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 1500) {
            replace(folder.path());
            QTest::qWait(20);
        }
        QVERIFY2(spy.count() >= 3, qPrintable(QString::number(spy.count())));
        QVERIFY2(spy.count() <= 1500 / int(SessionFolderWatcher::debounce.count()) + 2,
                 qPrintable(QString::number(spy.count())));
    }

    // The helper makes the folder again after it was deleted (or before it ever existed): the
    // watch is taken again and every later write is told, not left to the periodic reload.
    void aFolderDeletedOrAbsentIsWatchedWhenItComes() {
        QTemporaryDir root;
        const QString sessions = root.filePath(QStringLiteral("data/sessions"));
        SessionFolderWatcher watcher(sessions);
        QVERIFY(!watcher.watchesFolder());
        QSignalSpy spy(&watcher, &SessionFolderWatcher::changed);

        for (int round = 0; round < 3; ++round) {
            QVERIFY(QDir().mkpath(sessions));
            QTRY_VERIFY_WITH_TIMEOUT(watcher.watchesFolder(), 5000);
            QTest::qWait(2 * int(SessionFolderWatcher::debounce.count()));
            const int before = spy.count();
            replace(sessions);
            QTRY_VERIFY_WITH_TIMEOUT(spy.count() > before, 10000);

            QVERIFY(QDir(round == 1 ? root.filePath(QStringLiteral("data")) : sessions)
                        .removeRecursively());
            QTRY_VERIFY_WITH_TIMEOUT(!watcher.watchesFolder(), 5000);
        }
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::SessionFolderWatcherTest)
#include "SessionFolderWatcherTest.moc"
