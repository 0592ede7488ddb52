#include "app/shell/AppRestarter.h"

#include "TestSupport.h"

#include <QTest>
#include <thread>

namespace ostrelvan::test {

class AppRestarterTest : public QObject {
    Q_OBJECT
private slots:
    // The real shell, started detached: it waits for the old process and then runs the program
    // again with its arguments; the app quits only once the shell started. (That the app's
    // restart launches its own command line shows in the app state's test.)
    void theShellWaitsForTheOldProcessThenRunsTheProgram() {
        bool quit = false;
        AppRestarter refused(
            [](const Command&, std::string& error) {
                error = "no processes today";
                return false;
            },
            [&] { quit = true; }, {"/usr/bin/ostrelvan-desktop", {}, 4242});
        QTest::ignoreMessage(QtWarningMsg, "restart failed: no processes today");
        QVERIFY(!refused.restart());
        QVERIFY(!quit);

        TempDir folder;
        const Path marker = folder / "restarted";
        Process old({"sleep", "60"});
        AppRestarter restarter(
            AppRestarter::detachedStart(), [&] { quit = true; },
            {"/bin/sh",
             {"-c", "printf '%s|' \"$0\" \"$@\" > " + marker.string(), "again", "two words"},
             old.pid()});
        QTest::ignoreMessage(QtInfoMsg, "restarting");
        QVERIFY(restarter.restart());
        QVERIFY(quit);
        // The old one still runs, however slow the machine: nothing yet after the shell's first
        // rounds of waiting.
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        QVERIFY(!std::filesystem::exists(marker));
        ::kill(old.pid(), SIGTERM);
        old.wait();
        QTRY_VERIFY_WITH_TIMEOUT(std::filesystem::exists(marker), 5000);
        QTRY_COMPARE(readText(marker), std::string("again|two words|"));
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::AppRestarterTest)
#include "AppRestarterTest.moc"
