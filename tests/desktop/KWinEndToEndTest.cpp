#include "ScreenPixels.h"
#include "WindowActivation.h"

#include <QTest>

namespace ostrelvan::test {

// A real KWin on Wayland, nested in Xvfb with XWayland: a native Wayland window, out of X11's
// sight, is brought forward through KWin's scripting, and an X11 one too when X11 cannot be
// asked. The packaged kwin_wayland carries a file capability that a container may refuse; a
// plain copy runs.
class KWinEndToEndTest : public QObject {
    Q_OBJECT

    TempDir scratch_;
    std::optional<Process> server_;
    std::optional<Process> bus_;
    std::optional<Process> kwin_;
    std::string outer_;
    std::string xwayland_;

    Variables environment(Variables more = {}) const {
        Variables result{
            {"PATH", "/usr/bin:/bin"},
            {"HOME", scratch_ / "home"},
            {"LANG", "C.UTF-8"},
            {"XDG_RUNTIME_DIR", scratch_ / "run"},
            {"WAYLAND_DISPLAY", "wayland-0"},
            {"DISPLAY", xwayland_},
            {"DBUS_SESSION_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS").toStdString()}};
        for (auto& [name, value] : more)
            result[name] = std::move(value);
        return result;
    }

    // The owner of the X11 window KWin has active; none while a Wayland window is.
    std::optional<std::int32_t> activeX11Owner() const {
        const Outcome root = run({"xprop", "-root", "_NET_ACTIVE_WINDOW"}, environment());
        const auto hash = root.out.find("# ");
        if (root.code != 0 || hash == std::string::npos)
            return std::nullopt;
        const std::string window =
            root.out.substr(hash + 2, root.out.find_first_of(",\n", hash) - hash - 2);
        if (std::stoul(window, nullptr, 16) == 0)
            return std::nullopt;
        const Outcome owner = run({"xprop", "-id", window, "_NET_WM_PID"}, environment());
        const auto equals = owner.out.find("= ");
        if (owner.code != 0 || equals == std::string::npos)
            return std::nullopt;
        return std::stoi(owner.out.substr(equals + 2));
    }

    // How many pixels (every fourth one each way) of KWin's output differ from `before`.
    int changedSince(const Screenshot& before) const {
        const Screenshot now = outerScreenshot();
        if (now.width != before.width || now.height != before.height)
            return -1;
        int changed = 0;
        for (int y = 0; y < now.height; y += 4)
            for (int x = 0; x < now.width; x += 4) {
                const Rgb p = now.at(x, y), q = before.at(x, y);
                changed += std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b) > 40;
            }
        return changed;
    }
    Screenshot outerScreenshot() const {
        const Path file = scratch_ / "screen.ppm";
        std::filesystem::remove(file);
        run({"import", "-silent", "-window", "root", "-depth", "8", "ppm:" + file.string()},
            environment({{"DISPLAY", outer_}}));
        return readPpm(file);
    }

    // Activation as the app asks for it, with or without an X11 display to ask first.
    WindowActivation::Outcome activate(const std::vector<std::int32_t>& chain, bool x11) {
        if (x11)
            qputenv("DISPLAY", QByteArray::fromStdString(xwayland_));
        else
            qunsetenv("DISPLAY");
        return WindowActivation::activate(chain, std::nullopt);
    }

private slots:
    void initTestCase() {
        for (const char* program : {"kwin_wayland", "Xvfb", "dbus-daemon", "xterm", "zenity"})
            if (!onPath(program))
                QSKIP(qPrintable(QString::fromLatin1(program) + " is not installed"));
        std::filesystem::create_directories(scratch_ / "home");
        std::filesystem::create_directories(scratch_ / "run");
        std::filesystem::permissions(scratch_ / "run", std::filesystem::perms::owner_all);
        const Path kwin = scratch_ / "kwin_wayland";
        std::filesystem::copy_file("/usr/bin/kwin_wayland", kwin);

        server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                                 "1280x800x24", "-nolisten", "tcp"},
                        std::nullopt, Streams{"/dev/null", scratch_ / "display"});
        QTRY_VERIFY_WITH_TIMEOUT(readText(scratch_ / "display").find('\n') != std::string::npos,
                                 20000);
        const std::string number = readText(scratch_ / "display");
        outer_ = std::string(":").append(number, 0, number.find('\n'));
        bus_.emplace(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"},
            std::nullopt, Streams{"/dev/null", scratch_ / "address"});
        QTRY_VERIFY_WITH_TIMEOUT(readText(scratch_ / "address").find('\n') != std::string::npos,
                                 20000);
        const std::string address = readText(scratch_ / "address");
        qputenv("DBUS_SESSION_BUS_ADDRESS",
                QByteArray::fromStdString(address.substr(0, address.find('\n'))));
        qputenv("WAYLAND_DISPLAY", "wayland-0");
        qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString((scratch_ / "run").string()));

        // KWin starts the program it is given once XWayland runs, with XWayland's display.
        const Path announced = scratch_ / "xwayland";
        const Path log = scratch_ / "kwin.log";
        Variables variables = environment({{"DISPLAY", outer_}});
        variables.erase("WAYLAND_DISPLAY");
        kwin_.emplace(
            std::vector<std::string>{kwin, "--x11-display", outer_, "--xwayland",
                                     "sh -c 'echo $DISPLAY > " + announced.string() + "'"},
            variables, Streams{"/dev/null", log, log});
        QTRY_VERIFY2_WITH_TIMEOUT(readText(announced).find('\n') != std::string::npos,
                                  qPrintable(QString::fromStdString(readText(log))), 60000);
        const std::string display = readText(announced);
        xwayland_ = display.substr(0, display.find('\n'));
    }

    void cleanupTestCase() {
        for (auto* process : {&kwin_, &bus_, &server_}) {
            if (*process) {
                ::kill((*process)->pid(), SIGTERM);
                (*process)->wait();
            }
        }
    }

    void bringsANativeWaylandWindowAndAnX11OneForward() {
        // A native Wayland window first, then a terminal on XWayland, which KWin activates.
        const Screenshot bare = outerScreenshot();
        Process dialog({"zenity", "--info", "--text=native"},
                       environment({{"GDK_BACKEND", "wayland"}}));
        // Up before the terminal, which then takes the focus from it.
        QTRY_VERIFY_WITH_TIMEOUT(changedSince(bare) > 500, 20000);
        Process terminal({"xterm"}, environment());
        QTRY_COMPARE_WITH_TIMEOUT(activeX11Owner(), std::optional(terminal.pid()), 20000);

        // X11 sees no window of the dialog's: KWin's script finds it, by the first process of
        // the chain that has a window.
        QTRY_VERIFY_WITH_TIMEOUT(activate({::getpid(), dialog.pid()}, true) ==
                                         WindowActivation::Outcome::activated &&
                                     activeX11Owner() == std::nullopt,
                                 20000);

        // Without an X11 display to ask, the terminal too comes forward through KWin.
        QCOMPARE(activate({terminal.pid()}, false), WindowActivation::Outcome::activated);
        QTRY_COMPARE_WITH_TIMEOUT(activeX11Owner(), std::optional(terminal.pid()), 10000);
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::KWinEndToEndTest)
#include "KWinEndToEndTest.moc"
