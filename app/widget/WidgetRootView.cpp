#include "app/widget/WidgetRootView.h"

#include "app/widget/CanvasGeometry.h"
#include "app/widget/LampColumn.h"
#include "app/widget/Motion.h"
#include "app/widget/SessionPanelView.h"
#include "app/widget/WidgetGlass.h"

#include <QGraphicsOpacityEffect>
#include <QPainter>
#include <QVariantAnimation>
#include <QWheelEvent>

namespace ostrelvan {

namespace {
// The panel emerges from the column's side: it starts this far towards the column, transparent.
// It comes and goes on the hover spring; with reduced motion it only fades, over 0.18 s.
constexpr double emergeDistance = 24;
constexpr int reducedMotionMilliseconds = 180;
} // namespace

WidgetRootView::WidgetRootView(WidgetFeed& feed, WidgetModel& model, WidgetActions actions,
                               QWidget* parent)
    : QWidget(parent), feed_(feed), model_(model), actions_(std::move(actions)),
      column_(new LampColumn(actions_, this)), panel_(new SessionPanelView(actions_, this)),
      emergence_(new QVariantAnimation(this)) {
    setAttribute(Qt::WA_TranslucentBackground);
    setMouseTracking(true);
    panel_->hide();
    panel_->setClock([this] { return feed_.now(); });
    panel_->setConnected(feed_.isConnected());
    panel_->setRequests(feed_.requests());

    connect(emergence_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setEmergence(value.toDouble()); });
    connect(emergence_, &QVariantAnimation::finished, this, [this] {
        if (!model_.isExpanded())
            panel_->hide();
    });

    connect(&feed_, &WidgetFeed::groupsChanged, this, &WidgetRootView::relayout);
    connect(&feed_, &WidgetFeed::connectedChanged, this,
            [this] { panel_->setConnected(feed_.isConnected()); });
    connect(&feed_, &WidgetFeed::requestsChanged, this,
            [this] { panel_->setRequests(feed_.requests()); });
    connect(&model_, &WidgetModel::canvasHeightChanged, this, &WidgetRootView::relayout);
    connect(&model_, &WidgetModel::expandedChanged, this, &WidgetRootView::followExpansion);
    connect(&model_, &WidgetModel::hoveredIndexChanged, this, [this] {
        column_->setHoveredIndex(model_.hoveredIndex());
        panel_->setHoveredIndex(model_.hoveredIndex());
    });
    connect(&model_, &WidgetModel::scrollOffsetChanged, this,
            [this] { panel_->setScrollOffset(model_.scrollOffset()); });

    column_->setHoveredIndex(model_.hoveredIndex());
    panel_->setHoveredIndex(model_.hoveredIndex());
    panel_->setScrollOffset(model_.scrollOffset());
    relayout();
    if (model_.isExpanded()) {
        panel_->show();
        setEmergence(1);
    }
}

WidgetMetrics WidgetRootView::metrics() const {
    return {feed_.groupSizes(), model_.canvasHeight()};
}

QSize WidgetRootView::sizeHint() const {
    return {qRound(WidgetMetrics::canvasWidth), qRound(model_.canvasHeight())};
}

void WidgetRootView::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    column_->setLook(look);
    panel_->setLook(look);
    update();
}

void WidgetRootView::finishTransitions() {
    if (emergence_->state() == QAbstractAnimation::Running) {
        emergence_->stop();
        setEmergence(model_.isExpanded() ? 1 : 0);
        panel_->setVisible(model_.isExpanded());
    }
    column_->finishTransitions();
    panel_->finishTransitions();
    update();
}

void WidgetRootView::relayout() {
    const WidgetMetrics metrics = this->metrics();
    resize(sizeHint());
    column_->setGeometry(CanvasGeometry::toCanvas(metrics.columnRect(), metrics.canvasHeight));
    column_->setSessions(feed_.sessions(), metrics);
    panel_->setGroups(feed_.groups(), metrics);
    placePanel();
    update();
}

void WidgetRootView::placePanel() {
    const WidgetMetrics metrics = this->metrics();
    const QRect target = CanvasGeometry::toCanvas(metrics.panelRect(), metrics.canvasHeight);
    const int shift = look_.reduceMotion ? 0 : qRound((1 - emergenceProgress_) * emergeDistance);
    panel_->setGeometry(target.translated(shift, 0));
}

void WidgetRootView::followExpansion() {
    const bool expanded = model_.isExpanded();
    emergence_->stop();
    if (!isVisible()) {
        panel_->setVisible(expanded);
        setEmergence(expanded ? 1 : 0);
        return;
    }
    panel_->show();
    emergence_->setStartValue(emergenceProgress_);
    emergence_->setEndValue(expanded ? 1.0 : 0.0);
    if (look_.reduceMotion) {
        emergence_->setDuration(reducedMotionMilliseconds);
        emergence_->setEasingCurve(Motion::easeInOut());
    } else {
        static const int springMilliseconds = qRound(Motion::hoverSpring.settlingTime() * 1000);
        emergence_->setDuration(springMilliseconds);
        emergence_->setEasingCurve(Motion::hoverCurve());
    }
    emergence_->start();
}

void WidgetRootView::setEmergence(double progress) {
    const QRect before = panel_->geometry();
    emergenceProgress_ = progress;
    if (progress >= 1) {
        panel_->setGraphicsEffect(nullptr);
    } else {
        auto* effect = qobject_cast<QGraphicsOpacityEffect*>(panel_->graphicsEffect());
        if (!effect) {
            effect = new QGraphicsOpacityEffect(panel_);
            panel_->setGraphicsEffect(effect);
        }
        effect->setOpacity(progress);
    }
    placePanel();
    update(before.united(panel_->geometry()));
}

void WidgetRootView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    WidgetGlass::paint(painter, WidgetGlass::capsule(QRectF(column_->geometry())), look_);
    if (panel_->isVisible() && emergenceProgress_ > 0) {
        painter.setOpacity(emergenceProgress_);
        WidgetGlass::paint(
            painter, WidgetGlass::roundedRect(QRectF(panel_->geometry()), WidgetGlass::panelRadius),
            look_);
    }
}

void WidgetRootView::showEvent(QShowEvent*) {
    // The widget's window never becomes active, and Qt shows tool tips only in the active window
    // unless told otherwise.
    window()->setAttribute(Qt::WA_AlwaysShowToolTips);
}

void WidgetRootView::enterEvent(QEnterEvent*) {
    if (onPointer)
        onPointer(PointerCrossing::entered);
}

void WidgetRootView::leaveEvent(QEvent*) {
    if (onPointer)
        onPointer(PointerCrossing::left);
}

void WidgetRootView::mouseMoveEvent(QMouseEvent*) {
    if (onPointer)
        onPointer(PointerCrossing::moved);
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
