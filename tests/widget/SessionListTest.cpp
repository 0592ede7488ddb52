#include "WidgetViewHarness.h"
#include "app/widget/BrandColor.h"
#include "app/widget/ConnectButton.h"
#include "app/widget/EmptyStateView.h"
#include "app/widget/GlyphButton.h"
#include "app/widget/LampColumn.h"
#include "app/widget/SessionPanelView.h"
#include "app/widget/SessionRow.h"
#include "app/widget/StatusLamp.h"
#include "app/widget/WidgetMenu.h"
#include "app/widget/WindowHeader.h"

#include <QAccessible>
#include <QMenu>
#include <QToolTip>
#include <QWheelEvent>
#include <QtTest/qtestspontaneevent.h>

namespace ostrelvan::test {

using namespace Qt::StringLiterals;

namespace {
QStringList entries(const QMenu& menu) {
    QStringList texts;
    for (QAction* action : menu.actions())
        texts << (action->isSeparator() ? u"-"_s : action->text());
    return texts;
}
} // namespace

class SessionListTest : public QObject {
    Q_OBJECT
private slots:
    void groupsOfOneTwoOneHaveOneHeader() {
        ViewHarness h(oneTwoOne());
        h.model.setExpanded(true);
        const QImage image = h.render();
        SessionPanelView* panel = h.view->panel();
        const auto headers = panel->headers();
        QCOMPARE(headers.size(), std::size_t(1));
        const QRect header = headers[0]->geometry().translated(panel->pos() + panel->body()->pos());
        QCOMPARE(header, h.canvas(*h.metrics().groupHeaderRect(1, 0)));
        // The header's line carries its text; a single-session group has none above it.
        QVERIFY(differing(image, header.adjusted(8, 4, -100, 0),
                          image.pixelColor(header.topLeft() + QPoint(4, 2))) > 20);

        // Reordered, the last group moves to the front; its row keeps its widget, and the
        // accessible tree follows the display order.
        auto groups = oneTwoOne();
        SessionRow* docs = panel->rows()[3];
        std::rotate(groups.begin(), groups.begin() + 2, groups.end());
        h.feed.setGroups(groups);
        QCOMPARE(panel->rows()[0], docs);
        QAccessibleInterface* body = QAccessible::queryAccessibleInterface(panel->body());
        QStringList names;
        for (int i = 0; i < body->childCount(); ++i)
            names << body->child(i)->text(QAccessible::Name);
        QCOMPARE(names,
                 (QStringList{"docs, Awaiting review, now", "api, Coding\u2026, 2m",
                              "xterm: ~/src/web window, 2 tabs",
                              "Fix the login form, web, Needs approval, 2m", "web, Idle, 2h"}));

        // A long window name is shortened in the middle and the count stays whole.
        groups = oneTwoOne();
        groups[1].name = "xterm: ~/" + std::string(80, 'x') + "/the-end";
        h.feed.setGroups(groups);
        const QString shown = panel->headers()[0]->shownName();
        QVERIFY(shown.contains(QChar(0x2026)));
        QVERIFY(shown.startsWith(u"xterm"_s));
        QVERIFY(shown.endsWith(u"the-end"_s));
    }

    void rowsShowTheirSessionAndTheHoverHighlight() {
        ViewHarness h(oneTwoOne());
        h.model.setExpanded(true);
        SessionPanelView* panel = h.view->panel();
        const auto& rows = panel->rows();

        // Name and project: the project only when it reads differently.
        QCOMPARE(rows[0]->projectText(), QString());
        QCOMPARE(rows[1]->projectText(), u"web"_s);
        QCOMPARE(rows[1]->toolTip(), u"Fix the login form\nNeeds approval"_s);

        // The hovered row gets its background; the others and its own lamp do not change.
        const QImage plain = h.render();
        h.model.setHoveredIndex(2);
        const QImage hovered = h.render();
        const QPoint quiet2 = h.canvas(h.metrics().rowRect(2, 0)).topLeft() + QPoint(200, 3);
        const QPoint quiet3 = h.canvas(h.metrics().rowRect(3, 0)).topLeft() + QPoint(200, 3);
        QVERIFY(hovered.pixelColor(quiet2).lightness() > plain.pixelColor(quiet2).lightness());
        QCOMPARE(plain.pixelColor(quiet3), hovered.pixelColor(quiet3));
        QVERIFY(rows[2]->isHighlighted());
        QVERIFY(!rows[2]->lamp()->isHighlighted());
        QVERIFY(h.view->lampColumn()->isVisible());

        // The elapsed time is measured again with the clock.
        h.feed.setClock([] { return addSeconds(fixedNow(), 60); });
        panel->refreshTimes();
        QCOMPARE(rows[1]->accessibleName(), u"Fix the login form, web, Needs approval, 3m"_s);
    }

    void longListScrollsWithinTheBody() {
        ViewHarness h(singles(30));
        h.model.setExpanded(true);
        h.view->finishTransitions();
        SessionPanelView* panel = h.view->panel();
        // Whether the hints above and below the list show.
        const auto hints = [panel] {
            return std::pair(panel->showsScrollUpHint(), panel->showsScrollDownHint());
        };
        QCOMPARE(hints(), std::pair(false, true));

        h.model.setScrollOffset(120);
        QCOMPARE(panel->rows()[0]->geometry().translated(panel->pos() + panel->body()->pos()),
                 h.canvas(h.metrics().rowRect(0, 120)));
        QCOMPARE(hints(), std::pair(true, true));

        // Past the end the list stops with its last row on the body's bottom edge.
        h.model.setScrollOffset(100000);
        QCOMPARE(panel->scrollOffset(), h.metrics().maxScrollOffset());
        QCOMPARE(panel->rows().back()->geometry().bottom(), panel->body()->height() - 1);
        QCOMPARE(hints(), std::pair(true, false));
        // The rows are clipped to the body: nothing is drawn below the panel.
        const QImage image = h.render();
        const QRect panelRect = h.canvas(h.metrics().panelRect());
        QCOMPARE(image.pixelColor(panelRect.center().x(), panelRect.bottom() + 3).alpha(), 0);
    }

    void emptyStateFollowsTheConnection() {
        int connects = 0;
        WidgetActions actions;
        actions.connect = [&] { ++connects; };
        ViewHarness h({}, 600, true, actions);
        h.feed.setConnected(false);
        h.model.setExpanded(true);
        SessionPanelView* panel = h.view->panel();
        EmptyStateView* empty = panel->emptyState();
        QVERIFY(empty->isVisible());
        QCOMPARE(empty->title(), u"Not connected to Claude Code"_s);
        ConnectButton* button = empty->connectButton();
        QVERIFY(button->isVisible());
        QCOMPARE(button->text(), u"Connect to Claude Code"_s);

        QImage image = h.render();
        const QPoint onCapsule = button->mapTo(h.view.get(), QPoint(6, button->height() / 2));
        QVERIFY(distance(image.pixelColor(onCapsule), BrandColor::tide()) < 60);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(connects, 1);

        // Connecting changes the open panel in place.
        h.feed.setConnected(true);
        QCOMPARE(panel->emptyState(), empty);
        QVERIFY(panel->isVisible());
        QCOMPARE(empty->title(), u"No sessions yet"_s);
        QVERIFY(!button->isVisible());
        image = h.render();
        QVERIFY(distance(image.pixelColor(onCapsule), BrandColor::tide()) > 60);
        QCOMPARE(empty->accessibleName(), u"No sessions yet"_s);
    }

    void menusAndButtonsCallTheActions() {
        QStringList calls;
        WidgetActions actions;
        actions.showInFinder = [&](const DisplayedSession& s) {
            calls << u"reveal "_s + QString::fromStdString(s.id());
        };
        actions.restart = [&] { calls << u"restart"_s; };
        actions.openSettings = [&] { calls << u"settings"_s; };
        actions.quit = [&] { calls << u"quit"_s; };
        ViewHarness h(oneTwoOne(), 600, true, actions);
        h.model.setExpanded(true);

        QMenu rowMenu;
        h.view->panel()->rows()[2]->fillContextMenu(rowMenu);
        QCOMPARE(entries(rowMenu), (QStringList{"Show in File Manager", "-", "Settings\u2026",
                                                "Restart Ostrelvan", "Quit Ostrelvan"}));
        for (QAction* action : rowMenu.actions())
            action->trigger();

        GlyphButton* gear = h.view->panel()->settingsButton();
        QCOMPARE(gear->accessibleName(), u"Settings"_s);
        QTest::mouseClick(gear, Qt::LeftButton);
        QCOMPARE(calls, (QStringList{"reveal c", "settings", "restart", "quit", "settings"}));

        // The application's menu takes the place of the widget's own entries.
        actions.appMenu = [](QMenu& menu) {
            menu.addAction(u"Connect to Claude Code"_s);
            menu.addAction(u"Quit Ostrelvan"_s);
        };
        QMenu appMenu;
        WidgetMenu(actions).addTo(appMenu);
        QCOMPARE(entries(appMenu), (QStringList{"Connect to Claude Code", "Quit Ostrelvan"}));
    }

    void pointerWheelClicksAndToolTipsReachTheCanvas() {
        std::vector<std::pair<std::string, std::optional<std::uint32_t>>> opened;
        WidgetActions actions;
        actions.open = [&](const DisplayedSession& s, std::optional<std::uint32_t> time) {
            opened.emplace_back(s.id(), time);
        };
        ViewHarness h(oneTwoOne(), 600, true, actions);
        h.model.setExpanded(true);
        h.view->finishTransitions();
        QVERIFY(QTest::qWaitForWindowExposed(h.view.get()));
        int pointer = 0;
        std::vector<double> scrolls;
        h.view->onPointer = [&](PointerCrossing) { ++pointer; };
        h.view->onScroll = [&](double delta) {
            scrolls.push_back(delta);
            return true;
        };

        // Moving over a row, a header and the column still tells the canvas.
        SessionRow* row = h.view->panel()->rows()[1];
        for (QWidget* over : std::initializer_list<QWidget*>{row, h.view->panel()->headers()[0],
                                                             h.view->lampColumn()}) {
            const int before = pointer;
            QTest::mouseMove(over, QPoint(over->width() / 2, over->height() / 2));
            QVERIFY2(pointer > before, over->metaObject()->className());
        }

        // A wheel turned over a row scrolls the canvas, 25 points a notch.
        const QPointF at(row->width() / 2.0, row->height() / 2.0);
        QWheelEvent wheel(at, row->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        // Only a wheel event from the window system travels up to the parents.
        QSpontaneKeyEvent::setSpontaneous(&wheel);
        qApp->notify(row, &wheel);
        QCOMPARE(scrolls, std::vector<double>{-25.0});

        // A click opens the row's session with the time of the click.
        QTest::mouseClick(row, Qt::LeftButton, {}, QPoint(150, 25));
        QCOMPARE(opened.size(), std::size_t(1));
        QCOMPARE(opened[0].first, std::string("b"));
        QVERIFY(opened[0].second.has_value());
        // Pressed by a screen reader there is no such time.
        row->click();
        QCOMPARE(opened.size(), std::size_t(2));
        QCOMPARE(opened[1].second, std::nullopt);

        // The user works in another window, which the widget never takes the focus from; tool
        // tips show all the same.
        QWidget work;
        work.show();
        work.activateWindow();
        QTRY_VERIFY(work.isActiveWindow());
        QVERIFY(!h.view->isActiveWindow());
        QTest::mouseMove(row, QPoint(100, 20));
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), row->toolTip());
        QToolTip::hideText();
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::SessionListTest)
#include "SessionListTest.moc"
