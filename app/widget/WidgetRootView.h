#pragma once

#include "app/widget/WidgetActions.h"
#include "app/widget/WidgetFeed.h"
#include "app/widget/WidgetLook.h"
#include "app/widget/WidgetModel.h"
#include "app/widgetmodel/PointerTracker.h"
#include "app/widgetmodel/WidgetMetrics.h"

#include <QWidget>
#include <functional>

class QVariantAnimation;

namespace ostrelvan {

class LampColumn;
class SessionPanelView;

// The whole widget canvas (402 points wide, the canvas height high): the lamp column on its glass
// capsule and, while expanded, the session panel on its glass, each a child widget placed by the
// metrics. It is also where pointer and wheel events arrive: it hands them to its owner through
// onPointer and onScroll, which the panel controller sets. It follows the feed and the model by
// itself; the owner only sets the look.
class WidgetRootView : public QWidget {
    Q_OBJECT
public:
    WidgetRootView(WidgetFeed& feed, WidgetModel& model, WidgetActions actions,
                   QWidget* parent = nullptr);

    WidgetMetrics metrics() const;
    const WidgetLook& look() const { return look_; }
    void setLook(const WidgetLook& look);
    // Jumps running transitions to their end, so that a screenshot shows the settled picture.
    void finishTransitions();

    LampColumn* lampColumn() const { return column_; }
    SessionPanelView* panel() const { return panel_; }
    // The canvas: 402 wide and the model's canvas height high.
    QSize sizeHint() const override;

    // Called at once on every pointer enter, move and leave.
    std::function<void(PointerCrossing)> onPointer;
    // Called with a wheel event's vertical delta in points (25 a notch, pixel deltas as they
    // come); true when the delta was used.
    std::function<bool(double delta)> onScroll;

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void relayout();
    void placePanel();
    void followExpansion();
    void setEmergence(double progress);

    WidgetFeed& feed_;
    WidgetModel& model_;
    WidgetActions actions_;
    WidgetLook look_;
    LampColumn* column_;
    SessionPanelView* panel_;
    QVariantAnimation* emergence_;
    // 0: the panel tucked against the column and transparent; 1: in place.
    double emergenceProgress_ = 0;
};

} // namespace ostrelvan
