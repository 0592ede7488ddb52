#include "WidgetRootView.h"

#include <QWheelEvent>

namespace ostrelvan {

// Placeholder canvas until the column and the panel land: it only forwards the pointer.
WidgetRootView::WidgetRootView(WidgetFeed& feed, WidgetModel& model, WidgetActions actions,
                               QWidget* parent)
    : QWidget(parent), feed_(feed), model_(model), actions_(std::move(actions)) {
    setAttribute(Qt::WA_TranslucentBackground);
    setMouseTracking(true);
}

WidgetMetrics WidgetRootView::metrics() const {
    return {feed_.groupSizes(), model_.canvasHeight()};
}

void WidgetRootView::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    update();
}

void WidgetRootView::finishTransitions() {}

void WidgetRootView::enterEvent(QEnterEvent*) {
    if (onPointer)
        onPointer();
}

void WidgetRootView::leaveEvent(QEvent*) {
    if (onPointer)
        onPointer();
}

void WidgetRootView::mouseMoveEvent(QMouseEvent*) {
    if (onPointer)
        onPointer();
}

void WidgetRootView::wheelEvent(QWheelEvent* event) {
    const QPoint pixels = event->pixelDelta();
    const double delta = !pixels.isNull() ? pixels.y() : event->angleDelta().y() / 120.0 * 25.0;
    if (onScroll && onScroll(delta))
        event->accept();
    else
        event->ignore();
}

} // namespace ostrelvan
