#include "WidgetViewHarness.h"
#include "app/widget/GlassColor.h"
#include "app/widget/LampColumn.h"
#include "app/widget/SessionPanelView.h"
#include "app/widget/SessionRow.h"
#include "app/widget/StatusLamp.h"

#include <QAccessible>

namespace ostrelvan::test {

namespace {

// The lamp colour `c` shows, among the three the column can show; none when it is far from all
// of them (glass). The gem's specular highlight lightens its centre a little.
std::optional<SessionStatus> lampStatusOf(const QColor& c) {
    std::optional<SessionStatus> best;
    double bestDistance = 100;
    for (const auto status :
         {SessionStatus::working, SessionStatus::needsApproval, SessionStatus::idle})
        if (const double d = distance(c, StatusPalette::color(status)); d < bestDistance) {
            bestDistance = d;
            best = status;
        }
    return best;
}

// Nothing drawn two pixels beyond each side of `r`, at the middle of the side.
bool clearAround(const QImage& image, const QRect& r) {
    const QPoint m = r.center();
    const QPoint outside[] = {{m.x(), r.top() - 2},
                              {m.x(), r.bottom() + 2},
                              {r.left() - 2, m.y()},
                              {r.right() + 2, m.y()}};
    return std::ranges::all_of(outside, [&](QPoint p) { return image.pixelColor(p).alpha() == 0; });
}

} // namespace

class WidgetRootViewTest : public QObject {
    Q_OBJECT
private slots:
    void columnAndPanelStandWhereTheMetricsPutThem() {
        ViewHarness h(oneTwoOne(), 600);
        const QImage collapsed = h.render();
        QCOMPARE(collapsed.size(), QSize(402, 600));
        const QRect column = h.canvas(h.metrics().columnRect());
        const QRect panel = h.canvas(h.metrics().panelRect());
        QCOMPARE(h.view->lampColumn()->geometry(), column);

        // Glass inside the column, between lamps and inside its edges; nothing outside it.
        QVERIFY(collapsed.pixelColor(column.left() + 4, column.center().y()).alpha() > 0);
        QVERIFY(clearAround(collapsed, column));
        // Collapsed, the panel's place is empty.
        QCOMPARE(collapsed.pixelColor(panel.center()).alpha(), 0);

        h.model.setExpanded(true);
        const QImage expanded = h.render();
        QCOMPARE(h.view->panel()->geometry(), panel);
        QVERIFY(expanded.pixelColor(panel.left() + 6, panel.center().y()).alpha() > 0);
        QVERIFY(clearAround(expanded, panel));

        // The list is exactly the metrics' body, and its rows stand where hit-testing expects them.
        SessionPanelView* list = h.view->panel();
        QCOMPARE(list->body()->geometry().translated(panel.topLeft()),
                 h.canvas(h.metrics().bodyRect()));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(list->rows()[i]->geometry().translated(list->body()->pos() + panel.topLeft()),
                     h.canvas(h.metrics().rowRect(i, 0)));

        // A taller canvas moves everything to its middle.
        h.model.setCanvasHeight(800);
        QCOMPARE(h.view->size(), QSize(402, 800));
        QCOMPARE(h.view->lampColumn()->geometry(), h.canvas(h.metrics().columnRect()));
    }

    void panelEmergesFromTheColumnSide() {
        ViewHarness h(oneTwoOne());
        const QRect panel = h.canvas(h.metrics().panelRect());
        h.model.setExpanded(true);
        QVERIFY(h.view->panel()->isVisible());
        QVERIFY(h.view->panel()->x() > panel.x());
        h.view->finishTransitions();
        QCOMPARE(h.view->panel()->geometry(), panel);

        h.model.setExpanded(false);
        QVERIFY(h.view->panel()->isVisible()); // still leaving
        h.view->finishTransitions();
        QVERIFY(!h.view->panel()->isVisible());

        // With reduced motion it does not move: it fades in where it stands, over 0.18 s.
        WidgetLook still = h.view->look();
        still.reduceMotion = true;
        h.view->setLook(still);
        h.model.setExpanded(true);
        QCOMPARE(h.view->panel()->geometry(), panel);
        QVERIFY(h.view->panel()->graphicsEffect());
        QTRY_VERIFY_WITH_TIMEOUT(!h.view->panel()->graphicsEffect(), 10000);
        QCOMPARE(h.view->panel()->geometry(), panel);
    }

    void lampsShowTheirStatusAtTheMetricsCentres() {
        ViewHarness h(oneTwoOne());
        const QImage image = h.render();
        // Awaiting review shows the same colour as a request for approval.
        const SessionStatus shown[] = {SessionStatus::working, SessionStatus::needsApproval,
                                       SessionStatus::idle, SessionStatus::needsApproval};
        for (int i = 0; i < 4; ++i)
            QVERIFY2(lampStatusOf(patch(image, h.lampCentre(i))) == shown[i],
                     qPrintable(QStringLiteral("lamp %1").arg(i)));
        // Between two lamps there is only glass.
        QVERIFY(distance(patch(image, h.lampCentre(0) + QPoint(0, 13)),
                         StatusPalette::color(SessionStatus::working)) > 80);

        // The lamp under the pointer, and only it, is highlighted (and grows: StatusLampTest).
        h.model.setHoveredIndex(2);
        QVERIFY(h.view->lampColumn()->lamps()[2]->isHighlighted());
        QVERIFY(!h.view->lampColumn()->lamps()[1]->isHighlighted());
    }

    void lampsKeepTheirIdentityAcrossChanges() {
        auto groups = oneTwoOne();
        ViewHarness h(groups);
        const auto before = h.view->lampColumn()->lamps();
        groups[0].sessions[0].status = SessionStatus::idle;
        groups.insert(groups.begin() + 1,
                      {"session-e", "e", {displayed("e", SessionStatus::working, "e", "/e")}});
        h.feed.setGroups(groups);
        const auto after = h.view->lampColumn()->lamps();
        QCOMPARE(after.size(), std::size_t(5));
        QCOMPARE(after[0], before[0]);
        QCOMPARE(after[0]->status(), std::optional(SessionStatus::idle));
        QCOMPARE(after[2], before[1]);
        QCOMPARE(after[4], before[3]);
        // The new lamp fades in, drawn by the column until the fade ends.
        QVERIFY(!after[1]->isVisible());
        QTest::qWait(150);
        const QImage fading = h.view->grab().toImage().convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(lampStatusOf(patch(fading, h.lampCentre(1))),
                 std::optional(SessionStatus::working));
        h.view->finishTransitions();
        QVERIFY(after[1]->isVisible());
        const int half = StatusLamp::extent / 2;
        QCOMPARE(after[1]->pos(), QPoint(qRound(WidgetMetrics::columnWidth / 2 - half),
                                         h.lampCentre(1).y() - h.view->lampColumn()->y() - half));

        // No sessions: one placeholder lamp, never highlighted.
        h.feed.setGroups({});
        h.model.setHoveredIndex(0);
        h.view->finishTransitions();
        const auto placeholder = h.view->lampColumn()->lamps();
        QCOMPARE(placeholder.size(), std::size_t(1));
        QCOMPARE(placeholder[0]->status(), std::nullopt);
        QVERIFY(!placeholder[0]->isHighlighted());
    }

    void chevronOnlyWhenTheLampsOverflow() {
        // 21 lamps fit in 600 points; 22 leave room for 20 and the chevron.
        ViewHarness fits(singles(21));
        QCOMPARE(fits.view->lampColumn()->lamps().size(), std::size_t(21));
        QVERIFY(!fits.view->lampColumn()->showsOverflow());

        ViewHarness overflows(singles(22));
        QCOMPARE(overflows.view->lampColumn()->lamps().size(), std::size_t(20));
        QVERIFY(overflows.view->lampColumn()->showsOverflow());
        const QImage image = overflows.render();
        const QRect column = overflows.canvas(overflows.metrics().columnRect());
        const QRect chevron(column.left() + 8, overflows.lampCentre(19).y() + 14, 20, 14);
        QVERIFY(chevron.bottom() < column.bottom());
        QVERIFY(differing(image, chevron, image.pixelColor(column.left() + 3, chevron.top())) > 4);
    }

    void columnReadsAsOneElement() {
        ViewHarness h(oneTwoOne());
        QAccessibleInterface* column = QAccessible::queryAccessibleInterface(h.view->lampColumn());
        QCOMPARE(column->text(QAccessible::Name), QStringLiteral("4 Claude Code sessions"));
        QCOMPARE(column->childCount(), 0);
        h.feed.setGroups({oneTwoOne()[0]});
        QCOMPARE(column->text(QAccessible::Name), QStringLiteral("1 Claude Code session"));
        h.feed.setGroups({});
        QCOMPARE(column->text(QAccessible::Name), QStringLiteral("0 Claude Code sessions"));
    }

    void lightAndDarkDiffer() {
        ViewHarness dark(oneTwoOne(), 600, true);
        ViewHarness light(oneTwoOne(), 600, false);
        dark.model.setExpanded(true);
        light.model.setExpanded(true);
        const QImage darkImage = dark.render();
        const QImage lightImage = light.render();
        // The waiting session's status line takes the appearance's attention text colour.
        const QRect row = dark.canvas(dark.metrics().rowRect(1, 0));
        const QRect status(row.left() + 34, row.center().y() + 2, 120, 16);
        for (const bool isDark : {true, false}) {
            const QImage& image = isDark ? darkImage : lightImage;
            const double own = nearest(image, status, GlassColor::attentionText(isDark));
            QVERIFY(own < 40);
            QVERIFY(nearest(image, status, GlassColor::attentionText(!isDark)) > own);
        }
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::WidgetRootViewTest)
#include "WidgetRootViewTest.moc"
