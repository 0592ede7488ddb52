// The widget over the real store and the real hook helper on real folders: what the helper
// writes reaches the lamps quickly, also after the sessions folder was deleted and made again.
#include "app/store/AcknowledgedStore.h"
#include "app/store/MemoryKeyValueStore.h"
#include "app/store/SessionStore.h"
#include "app/widget/LampColumn.h"
#include "app/widget/StatusLamp.h"
#include "app/widget/WidgetFeed.h"
#include "app/widget/WidgetModel.h"
#include "app/widget/WidgetRootView.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace ostrelvan::test {

class LiveFeedTest : public QObject {
    Q_OBJECT

    QTemporaryDir root_;

    QString sessions() const { return root_.filePath(QStringLiteral("sessions")); }

    // The helper as Claude Code runs it, for a session of this (live) process.
    void hook(const QString& session, const QString& event) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("OSTRELVAN_DATA_DIR"), root_.path());
        environment.insert(QStringLiteral("CLAUDE_PID"),
                           QString::number(QCoreApplication::applicationPid()));
        QProcess helper;
        helper.setProcessEnvironment(environment);
        helper.start(QStringLiteral(OSTRELVAN_HOOK));
        helper.write(QStringLiteral(R"({"session_id":"%1","hook_event_name":"%2",)"
                                    R"("cwd":"/work/%1","prompt":"go"})")
                         .arg(session, event)
                         .toUtf8());
        helper.closeWriteChannel();
        QVERIFY(helper.waitForFinished(10000));
    }

    static std::vector<std::optional<SessionStatus>> shown(WidgetRootView& view) {
        std::vector<std::optional<SessionStatus>> statuses;
        for (const StatusLamp* lamp : view.lampColumn()->lamps())
            statuses.push_back(lamp->status());
        return statuses;
    }

private slots:
    void changesReachTheLampsAlsoAfterTheFolderCameBack() {
        MemoryKeyValueStore defaults;
        AcknowledgedStore acknowledged(defaults);
        SessionStore store(SessionFileStore(sessions().toStdString()), acknowledged);
        WidgetFeed feed;
        WidgetModel model;
        model.setCanvasHeight(600);
        connect(&store, &SessionStore::groupsChanged, &feed,
                [&] { feed.setGroups(store.groups()); });
        WidgetRootView view(feed, model, {});
        view.show();
        store.start();
        using S = SessionStatus;
        // Well before the periodic reload would come.
        const auto showsSoon = [&](std::vector<std::optional<S>> lamps) {
            return QTest::qWaitFor([&] { return shown(view) == lamps; }, 2000);
        };

        hook(QStringLiteral("one"), QStringLiteral("UserPromptSubmit"));
        QVERIFY(showsSoon({S::working}));
        QVERIFY(QDir(sessions()).removeRecursively());
        // Without sessions the column holds one placeholder lamp.
        QVERIFY(showsSoon({std::nullopt}));
        hook(QStringLiteral("two"), QStringLiteral("UserPromptSubmit"));
        QVERIFY(showsSoon({S::working}));

        // The watch was taken again: a change, garbage beside it, and a burst over twenty
        // sessions all show.
        hook(QStringLiteral("two"), QStringLiteral("Stop"));
        QVERIFY(showsSoon({S::awaitingReview}));
        QFile garbage(QDir(sessions()).filePath(QStringLiteral("garbage.json")));
        QVERIFY(garbage.open(QIODevice::WriteOnly));
        garbage.write("{not json");
        garbage.close();
        for (int round = 0; round < 10; ++round)
            for (int i = 0; i < 20; ++i)
                hook(QStringLiteral("s%1").arg(i),
                     round % 2 ? QStringLiteral("Stop") : QStringLiteral("UserPromptSubmit"));
        QVERIFY(showsSoon(std::vector<std::optional<S>>(21, S::awaitingReview)));
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::LiveFeedTest)
#include "LiveFeedTest.moc"
