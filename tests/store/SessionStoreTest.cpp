#include "StoreHarness.h"
#include "core/HookEvent.h"

#include <QSignalSpy>
#include <QTest>

namespace ostrelvan::test {

using Ids = std::vector<std::string>;
using Transitions = std::vector<SessionTransition>;

constexpr auto working = SessionStatus::working;
constexpr auto awaitingReview = SessionStatus::awaitingReview;
constexpr auto idle = SessionStatus::idle;

class SessionStoreTest : public QObject {
    Q_OBJECT
private slots:
    void dropsEndedSessionsAndTheirFiles() {
        StoreHarness h;
        h.now = at(200000);
        h.alive = {100, 101};
        h.put(session("stale", idle, h.now - 21601s));
        h.put(session("quiet", idle, h.now - 21540s));
        h.put(session("dead", working, h.now - 1s, 99));
        h.put(session("abandoned", idle, h.now - 49h, 100));
        h.put(session("running", working, h.now - 47h, 101));
        for (int i = 0; i < 3; ++i)
            QTest::ignoreMessage(QtInfoMsg, "dropped an ended session");
        h.store.reload();

        QCOMPARE(h.shownIds(), (Ids{"running", "quiet"}));
        QCOMPARE(listing(h.files.directory()), "quiet.json\nrunning.json\n");
    }

    // Transitions, and the lists published, only for what changed.
    void reportsOneTransitionPerChange() {
        StoreHarness h;
        QSignalSpy groups(&h.store, &SessionStore::groupsChanged);
        QSignalSpy sessions(&h.store, &SessionStore::sessionsChanged);
        const auto published = [&] {
            return QString("%1 %2").arg(groups.count()).arg(sessions.count());
        };
        h.put(session("a", working, at(0)));
        auto hidden = session("hidden", working, at(0));
        hidden.startedConversation.reset();
        h.put(hidden);
        h.store.reload();
        QCOMPARE(h.shownIds(), Ids{"a"});
        QCOMPARE(h.takeTransitions(), Transitions{}); // the first reload is silent
        QCOMPARE(published(), "1 1");

        h.now = at(10);
        h.put(session("a", awaitingReview, at(10)));
        h.put(session("b", working, at(10)));
        h.store.reload();
        QCOMPARE(h.takeTransitions(),
                 (Transitions{{"a", working, awaitingReview}, {"b", std::nullopt, working}}));
        QCOMPARE(published(), "2 2");

        h.now = at(20); // ages are not part of the lists
        h.store.reload();
        QCOMPARE(h.takeTransitions(), Transitions{});
        QCOMPARE(published(), "2 2");

        // Fading is a change too; a session that disappears is not.
        h.now = at(10 + 601);
        std::filesystem::remove(h.files.fileURL("b"));
        h.store.reload();
        QCOMPARE(h.takeTransitions(), (Transitions{{"a", awaitingReview, idle}}));
        QCOMPARE(h.shownIds(), Ids{"a"});
    }

    void groupsByParentWindow() {
        StoreHarness h;
        h.alive = {10, 11, 12};
        h.parents = {{10, 5}, {11, 5}};
        h.put(session("first", working, at(0), 10));
        h.put(session("orphan", idle, at(1), 12));
        h.put(session("nopid", idle, at(2)));
        h.put(session("second", working, at(3), 11));
        // Claude Code's registry knows one more session in the same window, titled by its
        // transcript.
        h.alive.insert(13);
        h.parents[13] = 5;
        h.processes = {{13, "fromRegistry", "/work/app", "interactive", std::nullopt, "busy",
                        std::nullopt, at(4), std::nullopt, std::nullopt}};
        h.transcripts["fromRegistry"] = {true, "Fix the login"};
        h.store.reload();

        QCOMPARE(h.layout(),
                 QStringLiteral("window-5 first: first=first/working, "
                                "second=second/working, fromRegistry=Fix the login/working; "
                                "session-orphan orphan: orphan=orphan/idle; "
                                "session-nopid nopid: nopid=nopid/idle"));
    }

    // Claude Code sends "idle_prompt" a minute after "Stop": it moves lastEvent, not statusSince,
    // and must not bring back a review the user has already seen. Driven through the real hook
    // path, as the helper applies events.
    void acknowledgementLastsUntilTheStatusChanges() {
        StoreHarness h;
        h.fade = std::nullopt;
        const auto hook = [&](double time, const std::string& event, const std::string& extra) {
            h.now = at(time);
            std::filesystem::create_directories(h.files.directory());
            h.files.apply(HookEvent::decode(payload(event, "a", extra)),
                          {h.now, SessionHost::terminal, std::nullopt, std::nullopt});
            h.store.reload();
            return h.store.sessions().empty() ? QString() : text(h.store.sessions().front().status);
        };
        QCOMPARE(hook(0, "UserPromptSubmit", ",\"prompt\":\"go\""), text(working));
        QCOMPARE(hook(30, "Stop", ""), text(awaitingReview));

        h.acknowledged.set(h.store.sessions().front().state.lastEvent, "a"); // opened
        h.store.reload();
        QCOMPARE(text(h.store.sessions().front().status), text(idle));
        QCOMPARE(h.takeTransitions(),
                 (Transitions{{"a", working, awaitingReview}, {"a", awaitingReview, idle}}));

        QCOMPARE(hook(90, "Notification", ",\"notification_type\":\"idle_prompt\""), text(idle));
        QCOMPARE(h.store.sessions().front().state.lastEvent, at(90));
        QCOMPARE(h.takeTransitions(), Transitions{});

        // A new turn passes through working and is shown for review again.
        QCOMPARE(hook(120, "UserPromptSubmit", ",\"prompt\":\"more\""), text(working));
        QCOMPARE(hook(150, "Stop", ""), text(awaitingReview));
        QCOMPARE(h.takeTransitions(),
                 (Transitions{{"a", idle, working}, {"a", working, awaitingReview}}));
    }

    void prunesAcknowledgementsOfSessionsNoLongerShown() {
        StoreHarness h;
        h.put(session("a", awaitingReview, at(0)));
        h.put(session("b", awaitingReview, at(0)));
        h.acknowledged.set(at(0), "a");
        h.acknowledged.set(at(0), "b");
        const int writes = h.defaults.writes();
        h.store.reload();
        h.store.reload();
        QCOMPARE(h.defaults.writes(), writes);

        std::filesystem::remove(h.files.fileURL("b"));
        h.store.reload();
        QCOMPARE(h.defaults.writes(), writes + 1);
        QCOMPARE(h.acknowledged.values().size(), std::size_t(1));
        QVERIFY(h.acknowledged.acknowledgedAt("a").has_value());
    }

    void startCreatesTheFolderAndWatchesIt() {
        StoreHarness h;
        QVERIFY(!std::filesystem::exists(h.files.directory()));
        h.store.start();
        QVERIFY(std::filesystem::is_directory(h.files.directory()));
        QCOMPARE(std::filesystem::status(h.files.directory()).permissions(),
                 std::filesystem::perms::owner_all);
        QVERIFY(h.store.isWatching());

        QSignalSpy sessions(&h.store, &SessionStore::sessionsChanged);
        h.put(session("a", working, at(0)));
        QVERIFY(sessions.wait(5000));
        QCOMPARE(h.shownIds(), Ids{"a"});
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::SessionStoreTest)
#include "SessionStoreTest.moc"
