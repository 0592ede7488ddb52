// The Linux desktop code against a real X server (Xvfb) and a private session bus on which this
// test plays the settings portal.
#include "TestSupport.h"
#include "app/look/Compositor.h"
#include "app/look/DesktopPreferencesMonitor.h"
#include "app/look/WindowBlur.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QRegion>
#include <QSignalSpy>
#include <QTest>
#include <QWindow>
#include <cstdlib>
#include <memory>
#include <vector>
#include <xcb/xcb.h>

namespace ostrelvan::test {

namespace {

constexpr int skipped = 77;

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(strlen(name)), name), nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

// The window's CARDINAL property as 32-bit values, nothing when the window does not have it.
std::optional<std::vector<std::uint32_t>> cardinals(xcb_connection_t* c, xcb_window_t window,
                                                    xcb_atom_t property) {
    std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(
            c, xcb_get_property(c, 0, window, property, XCB_ATOM_CARDINAL, 0, 64), nullptr),
        &std::free);
    if (!reply || reply->type != XCB_ATOM_CARDINAL || reply->format != 32)
        return std::nullopt;
    const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return std::vector<std::uint32_t>(data, data + xcb_get_property_value_length(reply.get()) / 4);
}

} // namespace

// The few keys of org.freedesktop.portal.Settings that the app reads. Read answers with the
// value wrapped in a second variant, as the real portal does.
class FakePortal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
public:
    QVariantMap values;

    void announce(const QString& group, const QString& key) {
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
        signal << group << key
               << QVariant::fromValue(QDBusVariant(values.value(group + "/" + key)));
        QDBusConnection::sessionBus().send(signal);
    }

public slots: // NOLINT(readability-redundant-access-specifiers): a Qt section
    QDBusVariant Read(const QString& group, const QString& key) {
        const QString name = group + "/" + key;
        if (!values.contains(name)) {
            sendErrorReply(QStringLiteral("org.freedesktop.portal.Error.NotFound"),
                           QStringLiteral("Requested setting not found"));
            return {};
        }
        return QDBusVariant(QVariant::fromValue(QDBusVariant(values.value(name))));
    }
};

class DesktopSessionTest : public QObject {
    Q_OBJECT
public:
    std::string display;
    TempDir config;

private slots:
    void portalDecidesAndTellsOfChanges() {
        FakePortal portal;
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.isConnected());
        QVERIFY(bus.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal,
                                   QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
        portal.values = {{"org.freedesktop.appearance/color-scheme", 1u},
                         {"org.gnome.desktop.interface/enable-animations", false}};

        DesktopPreferencesMonitor monitor;
        QVERIFY(monitor.current().dark);
        QVERIFY(monitor.current().reduceMotion);

        QSignalSpy changed(&monitor, &DesktopPreferencesMonitor::changed);
        portal.values["org.freedesktop.appearance/color-scheme"] = 2u;
        portal.values["org.gnome.desktop.interface/enable-animations"] = true;
        portal.announce("org.freedesktop.appearance", "color-scheme");
        QVERIFY(changed.wait(5000));
        QVERIFY(!monitor.current().dark);
        QVERIFY(!monitor.current().reduceMotion);

        // No preference from the portal: GNOME's own key, passed on by the portal, decides.
        portal.values["org.freedesktop.appearance/color-scheme"] = 0u;
        portal.values["org.gnome.desktop.interface/color-scheme"] = QStringLiteral("prefer-dark");
        portal.announce("org.freedesktop.appearance", "color-scheme");
        QVERIFY(changed.wait(5000));
        QVERIFY(monitor.current().dark);

        // KDE's factor of 0 turns motion off whatever GNOME says.
        writeText(config / "kdeglobals", "[KDE]\nAnimationDurationFactor=0\n");
        portal.announce("org.gnome.desktop.interface", "enable-animations");
        QVERIFY(changed.wait(5000));
        QVERIFY(monitor.current().reduceMotion);

        // A signal that changes nothing is not passed on.
        const int count = int(changed.count());
        portal.announce("org.freedesktop.appearance", "color-scheme");
        QTest::qWait(300);
        QCOMPARE(int(changed.count()), count);
        bus.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
    }

    // With no portal, GNOME's own settings decide, read in this process from the keyfile that
    // main() points GSettings at (no gsettings program on PATH either).
    void gnomeSettingsDecideWithoutAPortal() {
        std::filesystem::remove(config / "kdeglobals");
        DesktopPreferencesMonitor monitor;
        QVERIFY(monitor.current().dark);
        QVERIFY(monitor.current().reduceMotion);
    }

    void compositorAndBlurAreFollowedAsTheyComeAndGo() {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        CompositorMonitor monitor;
        QSignalSpy changed(&monitor, &CompositorMonitor::changed);
        QVERIFY(!hasCompositor() && !monitor.compositing());
        QVERIFY(!blurAvailable() && !monitor.blur());

        // Another client takes the compositing manager's selection: the monitor hears of it
        // from the server, with no asking.
        xcb_connection_t* c = xcb_connect(display.c_str(), nullptr);
        QVERIFY(!xcb_connection_has_error(c));
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        const xcb_window_t owner = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, owner, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_set_selection_owner(c, owner, atom(c, "_NET_WM_CM_S0"), XCB_CURRENT_TIME);
        xcb_flush(c);
        QVERIFY(hasCompositor());
        QTRY_VERIFY(monitor.compositing());
        QCOMPARE(changed.count(), 1);

        // A blur effect announces itself on the root window, and withdraws.
        const xcb_atom_t blur = atom(c, "_KDE_NET_WM_BLUR_BEHIND_REGION");
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen->root, blur, XCB_ATOM_CARDINAL, 32, 0,
                            nullptr);
        xcb_flush(c);
        QTRY_VERIFY(monitor.blur());
        QVERIFY(blurAvailable());
        xcb_delete_property(c, screen->root, blur);
        xcb_flush(c);
        QTRY_VERIFY(!monitor.blur());

        // The compositing manager exits: its selection goes with it.
        xcb_disconnect(c);
        QTRY_VERIFY(!monitor.compositing());
        QVERIFY(!hasCompositor());
        QCOMPARE(changed.count(), 4);
    }

    void blurRegionIsTheGivenRectanglesInDevicePixels() {
        QWindow unmade;
        QVERIFY(!WindowBlur::set(8, unmade, QRegion(0, 0, 10, 10))); // no window on the server yet

        QWindow window;
        window.resize(100, 100);
        window.create();
        xcb_connection_t* c = xcb_connect(display.c_str(), nullptr);
        const xcb_atom_t blur = atom(c, "_KDE_NET_WM_BLUR_BEHIND_REGION");
        const auto id = xcb_window_t(window.winId());
        const auto values = [&] { return cardinals(c, id, blur); };

        // Set, but nobody announced that it is honoured. Two rectangles, never the empty value
        // that would blur the whole window.
        QRegion glass(QRect(60, 10, 30, 80));
        glass += QRect(5, 20, 40, 30);
        QVERIFY(!WindowBlur::set(8, window, glass));
        std::vector<std::uint32_t> expected;
        for (const QRect& r : glass)
            expected.insert(expected.end(), {std::uint32_t(r.x()), std::uint32_t(r.y()),
                                             std::uint32_t(r.width()), std::uint32_t(r.height())});
        QCOMPARE(values(), std::optional(expected));
        QCOMPARE(expected.size(), std::size_t(4 * 4)); // the region's bands: four rectangles

        // No blur, or nothing to blur behind: the property goes.
        QVERIFY(!WindowBlur::set(0, window, glass));
        QTRY_VERIFY(!values());
        QVERIFY(!WindowBlur::set(8, window, QRegion()));
        QVERIFY(!values());

        // KWin's blur effect announces itself on the root window.
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen->root, blur, XCB_ATOM_CARDINAL, 32, 0,
                            nullptr);
        xcb_flush(c);
        QVERIFY(WindowBlur::set(13, window, glass));
        QCOMPARE(values(), std::optional(expected));
        xcb_delete_property(c, screen->root, blur);
        xcb_disconnect(c);
    }
};

} // namespace ostrelvan::test

int main(int argc, char** argv) {
    using namespace ostrelvan::test;
    TempDir scratch;
    std::optional<Process> xvfb, bus;
    std::optional<std::string> display, address;
    try {
        xvfb.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                              "640x480x24", "-nolisten", "tcp"},
                     std::nullopt, Streams{"/dev/null", scratch / "xvfb", scratch / "xvfb.err"});
        bus.emplace(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"},
            std::nullopt, Streams{"/dev/null", scratch / "bus", scratch / "bus.err"});
        display = firstLine(scratch / "xvfb");
        address = firstLine(scratch / "bus");
        if (!display || !address)
            throw std::runtime_error("Xvfb or dbus-daemon did not start");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "skipped: %s\n", error.what());
        return skipped;
    }
    DesktopSessionTest test;
    test.display = ":" + *display;
    ::setenv("DISPLAY", test.display.c_str(), 1);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address->c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::setenv("XDG_CONFIG_HOME", test.config.path().c_str(), 1);
    ::setenv("GSETTINGS_BACKEND", "keyfile", 1);
    ::setenv("PATH", "/nonexistent", 1);
    std::filesystem::create_directories(test.config / "glib-2.0/settings");
    writeText(test.config / "glib-2.0/settings/keyfile",
              "[org/gnome/desktop/interface]\ncolor-scheme='prefer-dark'\n"
              "enable-animations=false\n");
    ::unsetenv("WAYLAND_DISPLAY");
    QGuiApplication app(argc, argv);
    return QTest::qExec(&test, argc, argv);
}

#include "DesktopSessionTest.moc"
