#include "SessionFolderWatcher.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace ostrelvan::test {

namespace {

// What the hook helper does: write a temporary file beside the target, then rename it over.
void replace(const QString& folder, const QString& name) {
    const QString temporary = folder + "/." + name + ".tmp";
    QFile file(temporary);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{}");
    file.close();
    QVERIFY(std::rename(temporary.toLocal8Bit().constData(),
                        (folder + "/" + name).toLocal8Bit().constData()) == 0);
}

} // namespace

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
            if (i > 0) {
                QTest::qWait(20);
            }
            replace(folder.path(), QStringLiteral("a.json"));
            widestGap = std::max(widestGap, clock.elapsed() - last);
            last = clock.elapsed();
        }
        if (widestGap >= 90) {
            QSKIP("the machine was too slow to keep the writes within the debounce");
        }
        QVERIFY(spy.wait(5000));
        const qint64 delay = clock.elapsed() - last;
        QTest::qWait(400);
        QCOMPARE(spy.count(), 1);
        QVERIFY2(delay >= 90, qPrintable(QString::number(delay)));
        QVERIFY2(delay < 2000, qPrintable(QString::number(delay)));
    }

    void changesFarApartAreEachDelivered() {
        QTemporaryDir folder;
        auto watcher = SessionFolderWatcher::create(folder.path());
        QSignalSpy spy(watcher.get(), &SessionFolderWatcher::changed);
        replace(folder.path(), QStringLiteral("a.json"));
        QVERIFY(spy.wait(5000));
        QTest::qWait(300);
        QFile::remove(folder.filePath(QStringLiteral("a.json")));
        QVERIFY(spy.wait(5000));
        QCOMPARE(spy.count(), 2);
    }

    void aMissingFolderGivesNoWatcher() {
        QTemporaryDir folder;
        QVERIFY(!SessionFolderWatcher::create(folder.filePath(QStringLiteral("absent"))));
    }

    void nothingArrivesAfterRelease() {
        QTemporaryDir folder;
        int calls = 0;
        auto watcher = SessionFolderWatcher::create(folder.path());
        connect(watcher.get(), &SessionFolderWatcher::changed, this, [&] { ++calls; });
        replace(folder.path(), QStringLiteral("a.json"));
        QTest::qWait(10);
        watcher.reset();
        QTest::qWait(300);
        QCOMPARE(calls, 0);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::SessionFolderWatcherTest)
#include "SessionFolderWatcherTest.moc"
