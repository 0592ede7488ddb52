#include "app/shell/AppState.h"

#include "ShellTestSupport.h"
#include "app/integration/HookInstallerError.h"
#include "app/platform/LaunchAtLogin.h"
#include "app/shell/SettingsWindowController.h"

#include <QApplication>
#include <QTest>
#include <QWidget>

namespace ostrelvan::test {

namespace {

constexpr auto normal = LaunchMode::Kind::normal;

// A machine whose user once connected (or not), and whose Claude Code settings lack
// Ostrelvan's entry for "Stop" while holding the others.
void prepare(ShellMachine& machine, bool hooksConnected) {
    machine.defaults = MemoryKeyValueStore({{QStringLiteral("hooks.connected"), hooksConnected}});
    auto settings = HookInstaller::installing(nlohmann::json::object(), machine.helper().string());
    settings["hooks"].erase("Stop");
    writeText(machine.settingsFile(), HookInstaller::serialise(settings));
}

} // namespace

class AppStateTest : public QObject {
    Q_OBJECT
private slots:
    void testsModeStartsNothing() {
        ShellMachine machine;
        prepare(machine, true);
        OpenWatch watch(machine.settingsFile());
        auto state = machine.app();
        state->start();
        QVERIFY(!watch.opened());
        QVERIFY(!std::filesystem::exists(machine.helper()));
        QVERIFY(!state->store().isWatching());
        QVERIFY(!state->updater().isConfigured());
        QCOMPARE(machine.events, QStringList());
        QCOMPARE(machine.defaults.writes(), 0);
    }

    // Each step sees the one before it done: the helper is in place for the repair, the widget
    // comes after the store and before the updater, and the sounds hear the store.
    void startsInOrderAndRepairsMissingEntriesOnce() {
        ShellMachine machine;
        prepare(machine, true);
        machine.services.soundClock = [] { return addSeconds(wallClockNow(), 10); };
        auto state = machine.app(normal);
        LogRecorder log;
        state->start();

        QCOMPARE(log.lines().count(QStringLiteral("hooks: repairing hook entries")), 1);
        QVERIFY(HookInstaller::isInstalled(HookInstaller::readSettings(machine.settingsFile()),
                                           machine.helper().string()));
        QVERIFY(std::filesystem::exists(machine.helper()));
        QVERIFY(state->store().isWatching());
        machine.putWaitingSession("s1");
        state->store().reload();
        QCOMPARE(machine.events,
                 (QStringList{"widget made", "widget shown", "updater started", "sound approval"}));
        // Quitting is the app's (the widget's menu is the tray's, entry for entry: the tray test).
        state->actions().quit();
        QCOMPARE(machine.events.last(), QStringLiteral("quit"));
        QVERIFY(state->updater().isStarted());
    }

    void neverReadsClaudeSettingsWhenNotConnected() {
        ShellMachine machine;
        prepare(machine, false);
        const std::string before = readText(machine.settingsFile());
        OpenWatch watch(machine.settingsFile());
        machine.app(normal)->start();
        QVERIFY(!watch.opened());
        QCOMPARE(readText(machine.settingsFile()), before);
        QVERIFY(std::filesystem::exists(machine.helper())); // refreshed all the same
        QVERIFY(machine.events.contains(QStringLiteral("widget shown")));
    }

    void aFailedConnectShowsItsTextAndChangesNothing() {
        for (const bool hooksConnected : {false, true}) {
            ShellMachine machine;
            prepare(machine, hooksConnected);
            const std::string broken = "{\"hooks\": {\"Stop\": [}\n";
            writeText(machine.settingsFile(), broken);
            auto state = machine.app();
            const std::string error =
                HookInstallerError::invalidJSON(machine.settingsFile()).what();
            QTest::ignoreMessage(QtWarningMsg,
                                 QByteArray::fromStdString("connect failed: " + error));
            state->connectHooks();
            QCOMPARE(state->hookError(), std::optional(error));
            QCOMPARE(state->settings().hooksConnected(), hooksConnected);
            QCOMPARE(readText(machine.settingsFile()), broken);
            QCOMPARE(listing(machine.settingsFile().parent_path()), std::string("settings.json\n"));
            // Mended by hand, connect and disconnect work again: the tray test.
        }
    }

    void openingASessionAcknowledgesItFirst() {
        ShellMachine machine;
        machine.putWaitingSession("s1", SessionStatus::awaitingReview);
        auto state = machine.app(normal);
        state->start();
        QCOMPARE(state->store().sessions().size(), 1u);
        const DisplayedSession row = state->store().sessions().front();
        machine.events.clear();
        const WidgetActions actions = state->actions();
        actions.open(row, std::nullopt);
        QCOMPARE(state->acknowledged().acknowledgedAt("s1"),
                 std::optional<TimePoint>(row.state.lastEvent));
        QVERIFY(state->store().sessions().front().status == SessionStatus::idle);
        QCOMPARE(machine.events, (QStringList{"collapsed", "opened s1"}));

        actions.restart();
        QCOMPARE(machine.events.mid(2), (QStringList{"launched 4", "quit"}));
        state.reset();
        actions.open(row, 42); // the state is gone: nothing happens, nothing crashes
        actions.openSettings();
        QCOMPARE(machine.events.size(), 4);
    }

    void oneSettingsWindowPinsTheWidgetWhileVisible() {
        ShellMachine machine;
        auto state = machine.app(normal);
        state->start();
        machine.events.clear();
        state->actions().openSettings();
        QWidget* window = state->settingsWindow()->window();
        QVERIFY(window && window->isVisible());
        state->openSettings();
        QCOMPARE(state->settingsWindow()->window(), window);
        QCOMPARE(QApplication::topLevelWidgets().count(window), 1);
        window->close();
        state->openSettings(); // closed, it comes back when asked again
        QVERIFY(state->settingsWindow()->window()->isVisible());
        QCOMPARE(machine.events, (QStringList{"pinned 1", "pinned 0", "pinned 1"}));
    }

    void launchAtLoginShowsWhatTheSystemSays() {
        ShellMachine machine;
        auto state = machine.app();
        QVERIFY(!state->launchAtLogin());
        state->setLaunchAtLogin(true);
        QVERIFY(state->launchAtLogin());
        QVERIFY(LaunchAtLogin::isEnabled(machine.services.environment));
        // The entry goes with its folder, and a file where the folder was makes switching on
        // fail: logged, nothing written, and the toggle shows what is true, off.
        std::filesystem::remove_all(machine.home / "config");
        writeText(machine.home / "config", "not a folder");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^launch at login failed: .*"));
        state->setLaunchAtLogin(true);
        QVERIFY(!state->launchAtLogin());
        QCOMPARE(readText(machine.home / "config"), std::string("not a folder"));
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::AppStateTest)
#include "AppStateTest.moc"
