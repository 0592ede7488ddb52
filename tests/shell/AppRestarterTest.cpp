#include "AppRestarter.h"

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
        const std::string script = "while kill -0 \"$1\" 2>/dev/null; do sleep 0.2; done; "
                                   "shift; exec \"$0\" \"$@\"";
        QCOMPARE(launched.front(), (Command{"/bin/sh", "-c", script, "/usr/bin/ostrelvan-desktop",
                                            "4242", "--flag", "two words"}));

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
        Process old({"sleep", "0.6"});
        bool quit = false;
        AppRestarter restarter(
            AppRestarter::detachedLauncher(), [&] { quit = true; },
            {"/bin/sh", {"-c", "echo \"$0\" > " + marker.string(), "again"}, old.pid()});
        QTest::ignoreMessage(QtInfoMsg, "restarting");
        QVERIFY(restarter.restart());
        QVERIFY(quit);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        QVERIFY(!std::filesystem::exists(marker)); // the old one still runs
        old.wait();
        QTRY_VERIFY_WITH_TIMEOUT(std::filesystem::exists(marker), 5000);
        QTRY_COMPARE(readText(marker), std::string("again\n"));
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::AppRestarterTest)
#include "AppRestarterTest.moc"
