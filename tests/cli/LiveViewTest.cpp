#include "cli/LiveView.h"

#include "TestSupport.h"
#include "app/store/MemoryKeyValueStore.h"
#include "core/SessionFileStore.h"

#include <QSocketNotifier>
#include <QTest>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <sys/ioctl.h>
#include <termios.h>

namespace ostrelvan::test {

using namespace std::chrono_literals;

// The live view on a real pseudo-terminal, driven by the keys a user types into it.
class LiveViewTest : public QObject {
    Q_OBJECT
private slots:
    void downDownEnterOpensTheThirdSessionAndQLeaves() {
        TempDir root;
        const TimePoint now = wallClockNow();
        const std::vector<std::string> ids{"first", "second", "third", "fourth", "fifth"};
        std::filesystem::create_directories(root / "sessions");
        for (std::size_t i = 0; i < ids.size(); ++i) {
            auto state = SessionState::make(ids[i], "/work/" + ids[i], SessionHost::terminal,
                                            std::nullopt, std::nullopt, now - 1min * (10 - i));
            state.status = SessionStatus::awaitingReview;
            state.startedConversation = true;
            SessionFileStore::write(state, root / "sessions" / (ids[i] + ".json"));
        }
        MemoryKeyValueStore defaults;
        AcknowledgedStore acknowledged(defaults);
        SessionStore store(SessionFileStore(root / "sessions"), acknowledged);

        const int master = posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
        const int slave = ::open(ptsname(master), O_RDWR | O_NOCTTY);
        QVERIFY(slave >= 0);
        const winsize size{24, 80, 0, 0};
        ioctl(slave, TIOCSWINSZ, &size);
        termios before{};
        tcgetattr(slave, &before);
        std::string screen;
        fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
        const auto drain = [&] {
            char bytes[4096];
            for (ssize_t count; (count = ::read(master, bytes, sizeof bytes)) > 0;)
                screen.append(bytes, static_cast<std::size_t>(count));
        };
        QSocketNotifier output(master, QSocketNotifier::Read);
        connect(&output, &QSocketNotifier::activated, drain);
        const auto type = [master](std::string_view keys) {
            QCOMPARE(::write(master, keys.data(), keys.size()), ssize_t(keys.size()));
        };

        std::vector<std::string> opened;
        cli::LiveView view(
            store,
            [] {
                return cli::Notices{true, std::nullopt, std::nullopt, 0};
            },
            [&](const DisplayedSession& session) {
                opened.push_back(session.id());
                QTimer::singleShot(100, [&] { type("q"); });
                return std::optional<std::string>();
            },
            slave, slave, false, std::cout);
        // Split the way a slow terminal may split them.
        QTimer::singleShot(300, [&] { type("\033[B\033"); });
        QTimer::singleShot(400, [&] { type("[B"); });
        QTimer::singleShot(500, [&] { type("\r"); });
        QTimer::singleShot(10000, [&] { view.quit(1); });
        QCOMPARE(view.run(), 0);
        drain();

        QCOMPARE(opened, std::vector<std::string>{"third"});
        QVERIFY2(screen.find("> ◆ third") != std::string::npos, screen.c_str());
        // The alternate screen was left, and the terminal reads lines and echoes again.
        QVERIFY(screen.ends_with("\033[?25h\033[?1049l"));
        termios after{};
        tcgetattr(slave, &after);
        QCOMPARE(after.c_lflag & (ICANON | ECHO), before.c_lflag & (ICANON | ECHO));
        ::close(master);
        ::close(slave);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::LiveViewTest)
#include "LiveViewTest.moc"
