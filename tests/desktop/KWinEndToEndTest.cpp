#include "ScreenPixels.h"
#include "app/platform/WindowActivation.h"

#include <QTest>

namespace ostrelvan::test {

// A real KWin on Wayland, nested in Xvfb with XWayland: a native Wayland window, out of X11's
// sight, is brought forward through KWin's scripting, and an X11 one too when X11 cannot be
// asked; X11 sees no active window while a Wayland one is. Without KWin nothing can be asked.
class KWinEndToEndTest : public QObject {
    Q_OBJECT

    std::optional<XSession> kwin_;

    // Activation as the app asks for it, with or without an X11 display to ask first.
    WindowActivation::Outcome activate(const std::vector<std::int32_t>& chain, bool x11) {
        if (x11)
            qputenv("DISPLAY", QByteArray::fromStdString(kwin_->display()));
        else
            qunsetenv("DISPLAY");
        return WindowActivation::activate(chain, std::nullopt);
    }

private slots:
    void initTestCase() {
        if (const std::string program = XSession::missing(Shell::kwinWayland); !program.empty())
            QSKIP(qPrintable(QString::fromStdString(program + " is not installed")));
        kwin_.emplace(Shell::kwinWayland);
        // This process asks as the app would in that session.
        for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"})
            qputenv(name, QByteArray::fromStdString(kwin_->environment().at(name)));
    }

    void bringsANativeWaylandWindowAndAnX11OneForward() {
        // A native Wayland window, then a terminal on XWayland in front of it.
        const Screenshot bare = screenshot(*kwin_);
        Process dialog({"zenity", "--info", "--text=native"},
                       kwin_->environment({{"GDK_BACKEND", "wayland"}}));
        // Up before the terminal, which then takes the focus from it.
        QTRY_VERIFY_WITH_TIMEOUT(changedPixels(bare, screenshot(*kwin_),
                                               {0, 0, XSession::width, XSession::height}) > 500,
                                 20000);
        Process terminal({"xterm"}, kwin_->environment());
        // Brought forward as soon as it is there, should the dialog have come up after it.
        QTRY_VERIFY_WITH_TIMEOUT(activate({terminal.pid()}, true) ==
                                         WindowActivation::Outcome::activated &&
                                     kwin_->activePid() == terminal.pid(),
                                 20000);

        // X11 sees no window of the dialog's: KWin's script finds it, by the first process of
        // the chain that has a window.
        QTRY_VERIFY_WITH_TIMEOUT(activate({::getpid(), dialog.pid()}, true) ==
                                         WindowActivation::Outcome::activated &&
                                     kwin_->activePid() == std::nullopt,
                                 20000);

        // Without an X11 display to ask, the terminal too comes forward through KWin.
        QCOMPARE(activate({terminal.pid()}, false), WindowActivation::Outcome::activated);
        QTRY_COMPARE_WITH_TIMEOUT(kwin_->activePid(), std::optional(terminal.pid()), 10000);
        // Nothing is left loaded in the user's KWin.
        QCOMPARE(run(words("qdbus org.kde.KWin /Scripting org.kde.kwin.Scripting.isScriptLoaded "
                           "ostrelvan-activate"),
                     kwin_->environment())
                     .out,
                 "false\n");

        // Once KWin has gone nothing can be asked, and the caller falls back on what X11 offers.
        kwin_->stopLast();
        QTRY_COMPARE_WITH_TIMEOUT(activate({terminal.pid()}, false),
                                  WindowActivation::Outcome::unavailable, 10000);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::KWinEndToEndTest)
#include "KWinEndToEndTest.moc"
