#include "SessionFolderWatcher.h"

#include "TestSupport.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace ostrelvan::test {

// What the hook helper does: write a temporary file beside the target, then rename it over.
static void replace(const QString& folder) {
    writeText(folder.toStdString() + "/.a.json.tmp", "{}");
    std::filesystem::rename(folder.toStdString() + "/.a.json.tmp",
                            folder.toStdString() + "/a.json");
}

class SessionFolderWatcherTest : public QObject {
    Q_OBJECT
private slots:
    void aBurstGivesOneChangeAfterTheLastEvent() {
        QTemporaryDir folder;
        auto watcher = SessionFolderWatcher::create(folder.path());
        QVERIFY(watcher);
        QSignalSpy spy(watcher.get(), &SessionFolderWatcher::changed);
        QElapsedTimer clock;
        clock.start();
        qint64 last = 0;
        qint64 widestGap = 0;
        for (int i = 0; i < 10; ++i) {
            QTest::qWait(i > 0 ? 20 : 0);
            replace(folder.path());
            widestGap = std::max(widestGap, clock.elapsed() - last);
            last = clock.elapsed();
        }
        if (widestGap >= 90) {
            QSKIP("the machine was too slow to keep the writes within the debounce");
        }
        QVERIFY(spy.wait(5000));
        const qint64 delay = clock.elapsed() - last;
        QVERIFY2(delay >= 90 && delay < 2000, qPrintable(QString::number(delay)));
        QTest::qWait(300);
        QCOMPARE(spy.count(), 1);

        replace(folder.path()); // a change well apart is delivered again
        QVERIFY(spy.wait(5000));
        QCOMPARE(spy.count(), 2);
    }

    // A second watcher on the folder witnesses that the change was delivered while the first,
    // released within its debounce, stays silent.
    void noWatcherWithoutAFolderAndNoCallAfterRelease() {
        QTemporaryDir folder;
        QVERIFY(!SessionFolderWatcher::create(folder.filePath(QStringLiteral("absent"))));
        int calls = 0, witnessed = 0;
        auto watcher = SessionFolderWatcher::create(folder.path());
        auto witness = SessionFolderWatcher::create(folder.path());
        QVERIFY(watcher && witness);
        connect(watcher.get(), &SessionFolderWatcher::changed, this, [&] { ++calls; });
        connect(witness.get(), &SessionFolderWatcher::changed, this, [&] { ++witnessed; });
        replace(folder.path());
        QTRY_COMPARE_WITH_TIMEOUT(witnessed, 1, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(calls, 1, 5000);

        replace(folder.path());
        QTest::qWait(20); // both have seen the change; neither debounce is over
        watcher.reset();
        QTRY_COMPARE_WITH_TIMEOUT(witnessed, 2, 5000);
        QTest::qWait(200);
        QCOMPARE(calls, 1);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::SessionFolderWatcherTest)
#include "SessionFolderWatcherTest.moc"
