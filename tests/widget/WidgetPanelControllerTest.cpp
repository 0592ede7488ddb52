// The panel controller with its real window, offscreen. (Hover with the platform's pointer is
// the end-to-end tests', on real desktops.)
#include "app/widget/WidgetPanelController.h"

#include "WidgetViewHarness.h"
#include "app/widget/WidgetPanel.h"

#include <QCursor>
#include <QScreen>
#include <QTest>
#include <QWheelEvent>

namespace ostrelvan::test {

namespace {

// A canvas point (y up) as a global pointer position.
QPoint global(const QRect& placement, double x, double y) {
    return {placement.x() + int(x), placement.y() + placement.height() - int(y)};
}

} // namespace

class WidgetPanelControllerTest : public QObject {
    Q_OBJECT
private slots:
    void placesTheCanvasAtTheRightEdgeCentredWithHalvesAwayFromZero() {
        using C = WidgetPanelController;
        // Below a 24-pixel top bar, following the screen.
        QCOMPARE(C::placement(QRect(0, 24, 1920, 1056), std::nullopt), QRect(1518, 24, 402, 1056));
        QCOMPARE(C::placement(QRect(0, 24, 1920, 1056), 600.0), QRect(1518, 252, 402, 600));
        // A second screen left of and above the first.
        QCOMPARE(C::placement(QRect(-1280, -601, 1280, 601), 600.0), QRect(-402, -601, 402, 600));
        QCOMPARE(C::placement(QRect(0, 0, 1000, 600), 599.0), QRect(598, 1, 402, 599));

        const QRect placement(1518, 24, 402, 1056);
        QCOMPARE(C::canvasPoint(QPoint(1894, 780), placement), (CanvasPoint{376, 300}));
        QCOMPARE(C::canvasPoint(QPoint(1518, 1080), placement), (CanvasPoint{0, 0}));
    }

    void showsAFramelessOnTopWindowThatTakesNoFocus() {
        WidgetFeed feed;
        WidgetModel model;
        WidgetPanelController controller(feed, {}, model);
        controller.show(false, true);

        const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
        const QRect expected = WidgetPanelController::placement(available, std::nullopt);
        QCOMPARE(controller.placement(), expected);
        QCOMPARE(controller.panel().geometry(), expected);
        QCOMPARE(model.canvasHeight(), double(expected.height()));
        QVERIFY(controller.panel().isVisible());
        // A utility window of its own (transient for nothing: the end-to-end tests check that).
        QVERIFY(controller.panel().isWindow());
        for (const auto flag :
             {Qt::FramelessWindowHint, Qt::WindowStaysOnTopHint, Qt::WindowDoesNotAcceptFocus})
            QVERIFY(controller.panel().windowFlags().testFlag(flag));
        for (const auto attribute : {Qt::WA_X11NetWmWindowTypeUtility, Qt::WA_TranslucentBackground,
                                     Qt::WA_ShowWithoutActivating})
            QVERIFY(controller.panel().testAttribute(attribute));
        QVERIFY(!QGuiApplication::focusWindow());

        // A fixed canvas height is kept, also when the screen changes.
        controller.show(false, true, 420.0);
        QCOMPARE(controller.placement().height(), 420);
        QCOMPARE(model.canvasHeight(), 420.0);
        controller.panel().move(0, 0);
        QScreen* screen = QGuiApplication::primaryScreen();
        emit screen->availableGeometryChanged(screen->availableGeometry());
        QCOMPARE(controller.placement(), WidgetPanelController::placement(available, 420.0));
        QCOMPARE(controller.panel().geometry(), controller.placement());
        QCOMPARE(model.canvasHeight(), 420.0);
    }

    void theWheelScrollsTheOpenListAndClosingResetsIt() {
        WidgetFeed feed;
        feed.setGroups(singles(30));
        WidgetModel model;
        WidgetPanelController controller(feed, {}, model);
        controller.show(true, true, 600.0);
        QVERIFY(model.isExpanded());
        const QRect placement = controller.placement();
        const QPoint inList = global(placement, 100, 300);
        QCursor::setPos(inList);
        // The offset a wheel event leaves; -1 when the event was not taken.
        auto wheel = [&](QPoint pixels, QPoint angle) {
            const QPointF local = controller.rootView().mapFromGlobal(QPointF(inList));
            QWheelEvent event(local, QPointF(inList), pixels, angle, Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(&controller.rootView(), &event);
            return event.isAccepted() ? model.scrollOffset() : -1.0;
        };
        QCOMPARE(wheel({}, {0, -120}), 25.0);
        QCOMPARE(wheel({0, -7}, {0, -120}), 32.0); // precise pixels win over the angle
        // Pinned, it refuses to close; unpinned, it closes and the list is back at the top.
        QVERIFY(model.isExpansionPinned());
        controller.collapse();
        QVERIFY(model.isExpanded());
        controller.setPinnedOpen(false);
        QVERIFY(!model.isExpansionPinned());
        controller.collapse();
        QVERIFY(!model.isExpanded());
        QCOMPARE(model.scrollOffset(), 0.0);
        QCOMPARE(wheel({}, {0, -120}), -1.0);
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::WidgetPanelControllerTest)
#include "WidgetPanelControllerTest.moc"
