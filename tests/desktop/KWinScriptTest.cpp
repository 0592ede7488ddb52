#include "DesktopScene.h"
#include "app/platform/WindowActivation.h"

#include <QTest>

namespace ostrelvan::test {

// A Wayland session with no X11 display and a session bus where no KWin answers: nothing can be
// asked, so that the caller falls back to what X11 offers. (What a real KWin does is in
// KWinEndToEndTest.)
class KWinScriptTest : public QObject {
    Q_OBJECT

private slots:
    void withoutKWinNothingCanBeAsked() {
        if (!onPath("dbus-daemon"))
            QSKIP("dbus-daemon is not installed");
        TempDir scratch;
        Process bus(words("dbus-daemon --session --nofork --print-address=1"), std::nullopt,
                    Streams{"/dev/null", scratch / "address"});
        QTRY_VERIFY(readText(scratch / "address").find('\n') != std::string::npos);
        const std::string address = readText(scratch / "address");
        qputenv("DBUS_SESSION_BUS_ADDRESS",
                QByteArray::fromStdString(address.substr(0, address.find('\n'))));
        qputenv("WAYLAND_DISPLAY", "wayland-0");
        qunsetenv("DISPLAY");
        QCOMPARE(WindowActivation::activate({4242}, std::nullopt),
                 WindowActivation::Outcome::unavailable);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::KWinScriptTest)
#include "KWinScriptTest.moc"
