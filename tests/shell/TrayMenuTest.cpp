#include "ShellTestSupport.h"
#include "app/shell/AppIcon.h"
#include "app/shell/AppState.h"
#include "app/shell/MenuBarMenu.h"
#include "app/shell/TrayIcon.h"
#include "app/shell/TrayIconArt.h"
#include "app/widget/BrandColor.h"

#include <QAction>
#include <QMenu>

namespace ostrelvan::test {

namespace {

// The menu as the user sees it: "-" for a divider, "[x]" for a checked toggle, "(off)" for what
// cannot be chosen. (That it shows no shortcut texts is the desktop shell's golden menu.)
QStringList shown(const QMenu& menu) {
    QStringList lines;
    for (const QAction* action : menu.actions()) {
        QString line = action->isSeparator() ? QStringLiteral("-") : action->text();
        if (action->isCheckable())
            line.prepend(action->isChecked() ? QStringLiteral("[x] ") : QStringLiteral("[ ] "));
        if (!action->isEnabled() && !action->isSeparator())
            line += QStringLiteral(" (off)");
        lines << line;
    }
    return lines;
}

void choose(QMenu& menu, const QString& text) {
    for (QAction* action : menu.actions())
        if (action->text() == text) {
            action->trigger();
            QCoreApplication::processEvents(); // commands arrive queued
            return;
        }
    QFAIL(qPrintable(QStringLiteral("no entry ") + text));
}

int count(const QImage& image, const std::function<bool(QColor)>& test) {
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            n += test(image.pixelColor(x, y)) ? 1 : 0;
    return n;
}

} // namespace

class TrayMenuTest : public QObject {
    Q_OBJECT
private slots:
    // The whole menu of a fresh user, as a tray host reads it, is the desktop shell's
    // end-to-end test; here how it follows what the user does.
    void followsTheConnectionState() {
        ShellMachine machine;
        writeText(machine.settingsFile(), "not json");
        auto app = machine.app();
        AppState& state = *app;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^no system tray.*"));
        TrayIcon tray(state);
        QVERIFY(!tray.isAvailable()); // offscreen has no tray host; the app runs on

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^connect failed: .*"));
        choose(tray.menu(), QStringLiteral("Connect to Claude Code"));
        const QString error = QString::fromStdString(*state.hookError()) + QStringLiteral(" (off)");
        QCOMPARE(shown(tray.menu()).mid(0, 3), (QStringList{"Connect to Claude Code", error, "-"}));

        writeText(machine.settingsFile(), "{}");
        choose(tray.menu(), QStringLiteral("Connect to Claude Code"));
        choose(tray.menu(), QStringLiteral("Sounds"));
        QCOMPARE(shown(tray.menu()).mid(0, 4),
                 QStringList({"Connected to Claude Code (off)", "Disconnect", "-", "[ ] Sounds"}));
        QVERIFY(!state.settings().soundsEnabled());

        choose(tray.menu(), QStringLiteral("Disconnect"));
        QCOMPARE(shown(tray.menu()).first(), QStringLiteral("Connect to Claude Code"));
        // A row's menu puts its own entries before the tray's, which work from there too. (The
        // widget's own menu, and the tray's shortcuts, are the end-to-end tests'.)
        QMenu rowMenu;
        rowMenu.addAction(QStringLiteral("Show in File Manager"));
        rowMenu.addSeparator();
        MenuBarMenu::append(rowMenu, state);
        QCOMPARE(shown(rowMenu), QStringList({"Show in File Manager", "-"}) + shown(tray.menu()));
        choose(rowMenu, QStringLiteral("Connect to Claude Code"));
        QVERIFY(state.settings().hooksConnected());
        // Its shortcuts, from a menu that hangs from no menu bar: tools/tray-check, on the app.
    }

    // Each waiting request heads the menu with its project, its command and its answers; an
    // answer chosen there reaches the helper, and the entries go with the request.
    void listsWaitingRequestsWithTheirAnswers() {
        ShellMachine machine;
        auto app = machine.app();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^no system tray.*"));
        TrayIcon tray(*app);
        std::filesystem::create_directories(machine.home / "data/Ostrelvan");
        app->requests().setEnabled(true);

        HelperSocket web(app->requests());
        const auto rules = nlohmann::ordered_json::parse(R"([{"type":"addRules","rules":[]}])");
        QCOMPARE(web.ask(requestLine('a', "web", "npm test", rules)),
                 PermissionMessage::Type::accepted);
        HelperSocket api(app->requests());
        QCOMPARE(api.ask(requestLine('b', "api", std::string(70, 'x'))),
                 PermissionMessage::Type::accepted);
        const QString longCommand = QString(60, QLatin1Char('x')) + QChar(0x2026);
        QCOMPARE(shown(tray.menu()).mid(0, 9),
                 (QStringList{"web · npm test (off)", "Allow", "Always Allow", "Deny", "-",
                              "api · " + longCommand + " (off)", "Allow", "Deny", "-"}));

        // The second "Allow" is the api's.
        tray.menu().actions()[6]->trigger();
        QCoreApplication::processEvents();
        const auto decision = api.next();
        QCOMPARE(decision.requestId, std::string(32, 'b'));
        QCOMPARE(decision.behavior, PermissionMessage::Behavior::allow);
        choose(tray.menu(), QStringLiteral("Deny"));
        QCOMPARE(web.next().behavior, PermissionMessage::Behavior::deny);
        QCOMPARE(shown(tray.menu()).first(), QStringLiteral("Connect to Claude Code"));
    }

    void showsTheUpdaterOnlyWhereConfigured() {
        ShellMachine machine;
        auto state = machine.app(LaunchMode::Kind::normal);
        TrayIcon tray(*state);
        QVERIFY(shown(tray.menu()).contains(QStringLiteral("Check for Updates… (off)")));
        state->updater().start(); // the fake updater says it can check
        QVERIFY(shown(tray.menu()).contains(QStringLiteral("Version 1.4 (37) (off)")));
        choose(tray.menu(), QStringLiteral("Check for Updates…"));
        QVERIFY(machine.events.contains(QStringLiteral("checked for updates")));
        // Unconfigured, as on Linux, neither entry shows: the desktop shell's golden menu.
    }

    void theIconShowsADotWhileASessionWaits() {
        ShellMachine machine;
        auto state = machine.app();
        TrayIcon tray(*state);
        QVERIFY(!tray.showsAttention());
        machine.putWaitingSession("s1");
        state->store().reload();
        QVERIFY(tray.showsAttention());

        using TrayIconArt::Style;
        const auto orange = [](QColor c) {
            return c.alpha() == 255 && c.red() > 240 && c.green() > 140 && c.green() < 180 &&
                   c.blue() < 90;
        };
        const auto light = [](QColor c) { return c.alpha() == 255 && c.lightness() > 230; };
        for (int size : {16, 22, 32}) {
            const QImage calm = TrayIconArt::image(size, false, Style::contrasted);
            const QImage waiting = TrayIconArt::image(size, true, Style::contrasted);
            // A white glyph (its teal disk is checked on a real panel by tools/tray-check).
            QVERIFY(count(calm, light) > 0);
            QCOMPARE(count(calm, orange), 0);
            QVERIFY(count(waiting, orange) >= size * size / 20);
            QCOMPARE(waiting.pixelColor(size - size / 5 - 1, size / 5 + 1).rgb(),
                     BrandColor::attention().rgb());
            QCOMPARE(calm.pixelColor(0, size - 1).alpha(), 0);
        }
        const QImage mask = TrayIconArt::image(22, false, Style::templateImage);
        QCOMPARE(count(mask, [](QColor c) { return c.alpha() > 0 && c.lightness() > 0; }), 0);
        QVERIFY(count(mask, [](QColor c) { return c.alpha() == 255; }) > 0);
        QVERIFY(TrayIconArt::icon(false, Style::templateImage).isMask());
        QVERIFY(!TrayIconArt::icon(true, Style::templateImage).isMask());
    }

    // The windows' icon, as the SVG draws it: an orange lamp inside a white ring on a teal tile
    // with transparent corners, at every size a task bar asks for. (That the app's windows carry it
    // and name their desktop entry is the desktop shell's end-to-end test.)
    void theAppIconIsTheLampInItsRingOnTheTile() {
        for (int size : {16, 32, 48, 128}) {
            const QImage icon = AppIcon::image(size);
            const auto at = [&](double x, double y) {
                return icon.pixelColor(int(x * size / 128), int(y * size / 128));
            };
            QCOMPARE(at(1, 1).alpha(), 0);
            const QColor tile = at(20, 64), ring = at(64, 29.5), lamp = at(66, 66);
            QVERIFY2(tile.green() > tile.red() + 60 && tile.alpha() == 255,
                     qPrintable(tile.name()));
            QVERIFY2(ring.lightness() > 200, qPrintable(ring.name()));
            QVERIFY2(lamp.red() > 200 && lamp.blue() < 150, qPrintable(lamp.name()));
        }
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::TrayMenuTest)
#include "TrayMenuTest.moc"
