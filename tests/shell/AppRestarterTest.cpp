#include "app/shell/AppRestarter.h"

#include "TestSupport.h"

#include <QTest>
#include <thread>

namespace ostrelvan::test {

class AppRestarterTest : public QObject {
    Q_OBJECT
private slots:
    void quitsOnlyWhenTheWaitingShellStarted() {
        std::vector<Command> launched;
        bool refuse = false;
        int quits = 0;
        AppRestarter restarter(
            [&](const Command& command, std::string& error) {
                launched.push_back(command);
                error = "no processes today";
                return !refuse;
            },
            [&] { ++quits; }, {"/usr/bin/ostrelvan-desktop", {"--flag", "two words"}, 4242});

        QTest::ignoreMessage(QtInfoMsg, "restarting");
        QVERIFY(restarter.restart());
        QCOMPARE(quits, 1);
        QCOMPARE(launched.size(), 1u);

        refuse = true;
        QTest::ignoreMessage(QtWarningMsg, "restart failed: no processes today");
        QVERIFY(!restarter.restart());
        QCOMPARE(quits, 1);
    }

    // The real shell, started detached: it waits for the old process and then runs the program
    // again with its arguments.
    void theShellWaitsForTheOldProcessThenRunsTheProgram() {
        TempDir folder;
        const Path marker = folder / "restarted";
        Process old({"sleep", "60"});
        bool quit = false;
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
