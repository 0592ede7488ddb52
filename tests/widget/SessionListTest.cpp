#include "WidgetViewHarness.h"
#include "app/widget/BrandColor.h"
#include "app/widget/ConnectButton.h"
#include "app/widget/EmptyStateView.h"
#include "app/widget/GlassColor.h"
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

namespace {
QStringList entries(const QMenu& menu) {
    QStringList texts;
    for (QAction* action : menu.actions())
        texts << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return texts;
}

QAction* entry(const QMenu& menu, const QString& text) {
    for (QAction* action : menu.actions())
        if (action->text() == text)
            return action;
    return nullptr;
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
        const QPoint bodyOrigin = panel->pos() + panel->body()->pos();
        QCOMPARE(headers[0]->geometry().translated(bodyOrigin),
                 h.canvas(*h.metrics().groupHeaderRect(1, 0)));
        QCOMPARE(headers[0]->accessibleName(), QStringLiteral("xterm: ~/src/web window, 2 tabs"));
        // The header's line carries its text; a single-session group has none above it.
        const QRect header = headers[0]->geometry().translated(bodyOrigin);
        QVERIFY(differing(image, header.adjusted(8, 4, -100, 0),
                          image.pixelColor(header.topLeft() + QPoint(4, 2))) > 20);
        QCOMPARE(panel->rows()[1]->geometry().top() - headers[0]->geometry().bottom(), 1);
        QCOMPARE(panel->rows()[0]->geometry().bottom() + 1, headers[0]->geometry().top());

        // A long window name is shortened in the middle and the count stays whole.
        auto groups = oneTwoOne();
        groups[1].name = "xterm: ~/" + std::string(80, 'x') + "/the-end";
        h.feed.setGroups(groups);
        const QString shown = panel->headers()[0]->shownName();
        QVERIFY(shown.contains(QChar(0x2026)));
        QVERIFY(shown.startsWith(QStringLiteral("xterm")));
        QVERIFY(shown.endsWith(QStringLiteral("the-end")));
    }

    void rowsShowTheirSessionAndTheHoverHighlight() {
        ViewHarness h(oneTwoOne());
        h.model.setExpanded(true);
        SessionPanelView* panel = h.view->panel();
        const auto& rows = panel->rows();
        QCOMPARE(rows.size(), std::size_t(4));

        // Name and project: the project only when it reads differently.
        QCOMPARE(rows[0]->projectText(), QString());
        QCOMPARE(rows[1]->nameText(), QStringLiteral("Fix the login form"));
        QCOMPARE(rows[1]->projectText(), QStringLiteral("web"));
        QCOMPARE(rows[1]->statusText(), QStringLiteral("Needs approval"));
        QCOMPARE(rows[2]->elapsedText(), QStringLiteral("2h"));
        QCOMPARE(rows[1]->accessibleName(),
                 QStringLiteral("Fix the login form, web, Needs approval, 2m"));
        QCOMPARE(rows[3]->accessibleName(), QStringLiteral("docs, Awaiting review, now"));
        QCOMPARE(rows[1]->toolTip(), QStringLiteral("Fix the login form\nNeeds approval"));

        // Status line colours follow the status.
        WidgetLook dark;
        QCOMPARE(SessionRow::statusColor(SessionStatus::needsApproval, dark),
                 GlassColor::attentionText(true));
        QCOMPARE(SessionRow::statusColor(SessionStatus::working, dark),
                 GlassColor::textSecondary(true));
        QCOMPARE(SessionRow::statusColor(SessionStatus::idle, dark),
                 GlassColor::textTertiary(true));

        // The hovered row gets its background; the others and its own lamp do not change.
        const QImage plain = h.render();
        h.model.setHoveredIndex(2);
        const QImage hovered = h.render();
        const QRect row2 = h.canvas(h.metrics().rowRect(2, 0));
        const QRect row3 = h.canvas(h.metrics().rowRect(3, 0));
        const QPoint quiet2(row2.left() + 200, row2.top() + 3);
        const QPoint quiet3(row3.left() + 200, row3.top() + 3);
        QVERIFY(plain.pixelColor(quiet2) != hovered.pixelColor(quiet2));
        QVERIFY(hovered.pixelColor(quiet2).lightness() > plain.pixelColor(quiet2).lightness());
        QCOMPARE(plain.pixelColor(quiet3), hovered.pixelColor(quiet3));
        QVERIFY(rows[2]->isHighlighted());
        QVERIFY(!rows[2]->lamp()->isHighlighted());
        QVERIFY(h.view->lampColumn()->isVisible());

        // The elapsed time is measured again with the clock.
        h.feed.setClock([] { return addSeconds(fixedNow(), 60); });
        panel->refreshTimes();
        QCOMPARE(rows[1]->elapsedText(), QStringLiteral("3m"));
        QCOMPARE(rows[1]->accessibleName(),
                 QStringLiteral("Fix the login form, web, Needs approval, 3m"));
    }

    void longListScrollsWithinTheBody() {
        ViewHarness h(singles(30));
        h.model.setExpanded(true);
        h.view->finishTransitions();
        SessionPanelView* panel = h.view->panel();
        const QRect body = h.canvas(h.metrics().bodyRect());
        QCOMPARE(panel->body()->geometry().translated(panel->pos()), body);
        QVERIFY(!panel->showsScrollUpHint());
        QVERIFY(panel->showsScrollDownHint());

        h.model.setScrollOffset(120);
        const QPoint bodyOrigin = panel->pos() + panel->body()->pos();
        QCOMPARE(panel->rows()[0]->geometry().translated(bodyOrigin),
                 h.canvas(h.metrics().rowRect(0, 120)));
        QVERIFY(panel->showsScrollUpHint());
        QVERIFY(panel->showsScrollDownHint());

        // Past the end the list stops with its last row on the body's bottom edge.
        h.model.setScrollOffset(100000);
        QCOMPARE(panel->scrollOffset(), h.metrics().maxScrollOffset());
        QCOMPARE(panel->rows().back()->geometry().bottom(), panel->body()->height() - 1);
        QVERIFY(panel->showsScrollUpHint());
        QVERIFY(!panel->showsScrollDownHint());
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
        QCOMPARE(panel->height(), 156);
        EmptyStateView* empty = panel->emptyState();
        QVERIFY(empty->isVisible());
        QCOMPARE(empty->geometry(), QRect(0, 52, 330, 96));
        QCOMPARE(empty->title(), QStringLiteral("Not connected to Claude Code"));
        ConnectButton* button = empty->connectButton();
        QVERIFY(button->isVisible());
        QCOMPARE(button->text(), QStringLiteral("Connect to Claude Code"));

        QImage image = h.render();
        const QPoint onCapsule = button->mapTo(h.view.get(), QPoint(6, button->height() / 2));
        QVERIFY(distance(image.pixelColor(onCapsule), BrandColor::tide()) < 60);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(connects, 1);

        // Connecting changes the open panel in place.
        h.feed.setConnected(true);
        QCOMPARE(panel->emptyState(), empty);
        QVERIFY(panel->isVisible());
        QCOMPARE(empty->title(), QStringLiteral("No sessions yet"));
        QCOMPARE(empty->hint(), QStringLiteral("Start Claude Code and it shows up here."));
        QVERIFY(!button->isVisible());
        image = h.render();
        QVERIFY(distance(image.pixelColor(onCapsule), BrandColor::tide()) > 60);
        QCOMPARE(empty->accessibleName(), QStringLiteral("No sessions yet"));
    }

    void menusAndButtonsCallTheActions() {
        QStringList calls;
        WidgetActions actions;
        actions.showInFinder = [&](const DisplayedSession& s) {
            calls << QStringLiteral("reveal ") + QString::fromStdString(s.id());
        };
        actions.restart = [&] { calls << QStringLiteral("restart"); };
        actions.openSettings = [&] { calls << QStringLiteral("settings"); };
        actions.quit = [&] { calls << QStringLiteral("quit"); };
        ViewHarness h(oneTwoOne(), 600, true, actions);
        h.model.setExpanded(true);

        QMenu rowMenu;
        h.view->panel()->rows()[2]->fillContextMenu(rowMenu);
        QCOMPARE(entries(rowMenu),
                 (QStringList{QStringLiteral("Show in File Manager"), QStringLiteral("-"),
                              QStringLiteral("Settings\u2026"), QStringLiteral("Restart Ostrelvan"),
                              QStringLiteral("Quit Ostrelvan")}));
        entry(rowMenu, QStringLiteral("Show in File Manager"))->trigger();
        entry(rowMenu, QStringLiteral("Restart Ostrelvan"))->trigger();
        entry(rowMenu, QStringLiteral("Quit Ostrelvan"))->trigger();
        entry(rowMenu, QStringLiteral("Settings\u2026"))->trigger();

        GlyphButton* gear = h.view->panel()->settingsButton();
        QCOMPARE(gear->accessibleName(), QStringLiteral("Settings"));
        QCOMPARE(gear->toolTip(), QStringLiteral("Settings"));
        QCOMPARE(gear->size(), QSize(26, 26));
        QCOMPARE(gear->geometry().right(), 330 - 12 - 1);
        QTest::mouseClick(gear, Qt::LeftButton);
        QCOMPARE(calls, (QStringList{QStringLiteral("reveal c"), QStringLiteral("restart"),
                                     QStringLiteral("quit"), QStringLiteral("settings"),
                                     QStringLiteral("settings")}));

        // The application's menu takes the place of the widget's own entries.
        actions.appMenu = [](QMenu& menu) {
            menu.addAction(QStringLiteral("Connect to Claude Code"));
            menu.addAction(QStringLiteral("Quit Ostrelvan"));
        };
        QMenu appMenu;
        WidgetMenu(actions).addTo(appMenu);
        QCOMPARE(entries(appMenu), (QStringList{QStringLiteral("Connect to Claude Code"),
                                                QStringLiteral("Quit Ostrelvan")}));
    }

    void pointerAndWheelReachTheCanvas() {
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
        for (QWidget* over :
             {static_cast<QWidget*>(row), static_cast<QWidget*>(h.view->panel()->headers()[0]),
              static_cast<QWidget*>(h.view->lampColumn())}) {
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
    }

    void toolTipsShowInTheInactiveWidgetWindow() {
        ViewHarness h(oneTwoOne());
        h.model.setExpanded(true);
        h.view->finishTransitions();
        QVERIFY(QTest::qWaitForWindowExposed(h.view.get()));
        // The user works in another window; the widget never takes the focus from it.
        QWidget work;
        work.show();
        work.activateWindow();
        QTRY_VERIFY(work.isActiveWindow());
        QVERIFY(!h.view->isActiveWindow());
        SessionRow* row = h.view->panel()->rows()[1];
        QTest::mouseMove(row, QPoint(100, 20));
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), row->toolTip());
        QToolTip::hideText();
    }

    void accessibleTreeFollowsDisplayOrder() {
        ViewHarness h(oneTwoOne());
        h.model.setExpanded(true);
        // Reorder: the last group moves to the front; its row keeps its widget.
        auto groups = oneTwoOne();
        SessionRow* docs = h.view->panel()->rows()[3];
        std::rotate(groups.begin(), groups.begin() + 2, groups.end());
        h.feed.setGroups(groups);
        QCOMPARE(h.view->panel()->rows()[0], docs);

        QAccessibleInterface* body = QAccessible::queryAccessibleInterface(h.view->panel()->body());
        QStringList names;
        for (int i = 0; i < body->childCount(); ++i)
            names << body->child(i)->text(QAccessible::Name);
        QCOMPARE(names, (QStringList{QStringLiteral("docs, Awaiting review, now"),
                                     QStringLiteral("api, Coding\u2026, 2m"),
                                     QStringLiteral("xterm: ~/src/web window, 2 tabs"),
                                     QStringLiteral("Fix the login form, web, Needs approval, 2m"),
                                     QStringLiteral("web, Idle, 2h")}));
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::SessionListTest)
#include "SessionListTest.moc"
