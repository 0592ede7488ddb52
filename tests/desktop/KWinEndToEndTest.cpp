#include "ScreenChanges.h"
#include "app/platform/WindowActivation.h"
#include "app/widgetmodel/WidgetMetrics.h"

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
    static constexpr int width = 1280, height = 800;

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
            std::vector<std::string>{kwin, "--x11-display", outer_, "--xwayland", "--width",
                                     std::to_string(width), "--height", std::to_string(height),
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
        // A native Wayland window, then a terminal on XWayland in front of it.
        const Screenshot bare = outerScreenshot();
        Process dialog({"zenity", "--info", "--text=native"},
                       environment({{"GDK_BACKEND", "wayland"}}));
        // Up before the terminal, which then takes the focus from it.
        QTRY_VERIFY_WITH_TIMEOUT(
            changedPixels(bare, outerScreenshot(), {0, 0, width, height}) > 500, 20000);
        Process terminal({"xterm"}, environment());
        // Brought forward as soon as it is there, should the dialog have come up after it.
        QTRY_VERIFY_WITH_TIMEOUT(activate({terminal.pid()}, true) ==
                                         WindowActivation::Outcome::activated &&
                                     activeX11Owner() == terminal.pid(),
                                 20000);

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

    // The widget runs through XWayland here as on GNOME, and XWayland is told nothing once the
    // pointer is on a native window: the list must close all the same.
    void theWidgetsListClosesWhenThePointerMovesOntoANativeWindow() {
        TempDir root;
        const Path data = root / "data";
        Process agent({"/bin/sleep", "600"});
        for (const auto& [event, extra] :
             {std::pair<std::string, std::string>{"SessionStart", R"(,"source":"startup")"},
              {"UserPromptSubmit", R"(,"prompt":"run the tests")"}}) {
            const Outcome out = run({OSTRELVAN_HOOK},
                                    Variables{{"OSTRELVAN_DATA_DIR", data.string()},
                                              {"PATH", "/usr/bin:/bin"},
                                              {"CLAUDE_PID", std::to_string(agent.pid())},
                                              {"CLAUDE_CODE_ENTRYPOINT", "cli"}},
                                    payload(event, "on-kwin", extra));
            QCOMPARE(out.code, 0);
        }
        // No work area on XWayland's root here: the canvas is as tall as the screen.
        const WidgetMetrics metrics({1}, height);
        const int canvasX = width - int(WidgetMetrics::canvasWidth);
        const LayoutRect column = metrics.columnRect(), panel = metrics.panelRect();
        const int lampX = canvasX + int(column.x + column.width / 2);
        const int lampY = height - int(metrics.lampCentreY(0));
        const ScreenRect list{canvasX + int(panel.x), height - int(panel.maxY()),
                              int(panel.width * 0.4), int(panel.height)};
        auto movePointer = [&](int x, int y) {
            run({"xdotool", "mousemove", std::to_string(x), std::to_string(y)},
                environment({{"DISPLAY", outer_}}));
        };

        movePointer(10, 10);
        // Settled, with no window of an earlier test still going away.
        Screenshot bare;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                const Screenshot before = outerScreenshot();
                bare = outerScreenshot();
                return changedPixels(before, bare, {0, 0, width, height}) == 0;
            }(),
            20000);
        Process dialog({"zenity", "--info", "--text=native"},
                       environment({{"GDK_BACKEND", "wayland"}}));
        std::optional<ScreenRect> native;
        QTRY_VERIFY_WITH_TIMEOUT((native = changedBox(bare, outerScreenshot(), {})) &&
                                     native->width > 100 && native->height > 50,
                                 20000);
        QVERIFY(!native->contains(list.x + list.width, list.y + list.height / 2));

        const Path log = root / "desktop.log";
        const Screenshot withDialog = outerScreenshot();
        Process app({OSTRELVAN_DESKTOP},
                    environment({{"HOME", (root / "home").string()},
                                 {"XDG_CONFIG_HOME", (root / "home" / ".config").string()},
                                 {"XDG_SESSION_TYPE", "wayland"},
                                 {"OSTRELVAN_DATA_DIR", data.string()},
                                 {"CLAUDE_CONFIG_DIR", (root / "claude").string()}}),
                    {"/dev/null", log, log});
        QTRY_VERIFY2_WITH_TIMEOUT(changedPixels(withDialog, outerScreenshot(),
                                                {canvasX, 0, width - canvasX, height}) > 50,
                                  qPrintable(QString::fromStdString("no lamps\n" + readText(log))),
                                  30000);
        const Screenshot closed = outerScreenshot();
        auto listOpen = [&](bool open) {
            return eventuallyDiffers(closed, list, open, [&] { return outerScreenshot(); });
        };

        movePointer(lampX, lampY);
        QVERIFY2(listOpen(true), "the list did not open under the pointer");
        movePointer(native->x + native->width / 2, native->y + native->height / 2);
        QVERIFY2(listOpen(false), "the list stayed open over the Wayland window");
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::KWinEndToEndTest)
#include "KWinEndToEndTest.moc"
