#include "app/widget/WidgetPanelController.h"

#include "app/look/DisplayServer.h"
#include "app/look/WindowBlur.h"
#include "app/services/Log.h"
#include "app/widget/WidgetGlass.h"
#include "app/widget/WidgetPanel.h"
#include "app/widget/WidgetRootView.h"

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QRegion>
#include <QScreen>
#include <chrono>
#include <cmath>

namespace ostrelvan {

namespace {

using namespace std::chrono_literals;

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(std::ceil(seconds * 1000)));
}

// Long enough for the panel's spring to settle (about 0.8 s) before its area stops taking clicks.
constexpr auto panelExitTime = 900ms;

// Offscreen (tests, screenshots) there is no stacking and nothing to click through.
bool isOffscreen() {
    return QGuiApplication::platformName() == QLatin1String("offscreen");
}

} // namespace

WidgetPanelController::WidgetPanelController(WidgetFeed& feed, WidgetActions actions,
                                             WidgetModel& model, QObject* parent)
    : QObject(parent), feed_(feed), model_(model), panel_(std::make_unique<WidgetPanel>()) {
    clock_.start();
    rootView_ = new WidgetRootView(feed_, model_, std::move(actions), panel_.get());
    rootView_->onPointer = [this](PointerCrossing crossing) { pointerCrossed(crossing); };
    rootView_->onScroll = [this](double delta) { return scroll(delta); };

    pointerTask_.setInterval(milliseconds(PointerTracker::pollInterval));
    connect(&pointerTask_, &QTimer::timeout, this, &WidgetPanelController::evaluatePointer);
    hoverTask_.setSingleShot(true);
    connect(&hoverTask_, &QTimer::timeout, this, &WidgetPanelController::hoverDelayElapsed);
    maskShrink_.setSingleShot(true);
    maskShrink_.setInterval(panelExitTime);
    connect(&maskShrink_, &QTimer::timeout, this, [this] {
        maskExpanded_ = false;
        updateMask();
    });
    // A changed list moves the lamps under a pointer that stands still.
    connect(&feed_, &WidgetFeed::groupsChanged, this, [this] {
        evaluatePointer();
        updateMask();
    });
}

WidgetPanelController::~WidgetPanelController() = default;

QRect WidgetPanelController::placement(const QRect& available, std::optional<double> canvasHeight) {
    const double height = canvasHeight.value_or(available.height());
    const double middle = available.y() + available.height() / 2.0;
    const int x = available.x() + available.width() - static_cast<int>(WidgetMetrics::canvasWidth);
    const int y = static_cast<int>(roundHalfAwayFromZero(middle - height / 2));
    return {x, y, static_cast<int>(WidgetMetrics::canvasWidth),
            static_cast<int>(roundHalfAwayFromZero(height))};
}

CanvasPoint WidgetPanelController::canvasPoint(QPoint global, const QRect& placement) {
    return {double(global.x() - placement.x()),
            double(placement.height() - (global.y() - placement.y()))};
}

void WidgetPanelController::show(bool pinnedExpanded, bool watchPointer,
                                 std::optional<double> canvasHeight) {
    fixedCanvasHeight_ = canvasHeight;
    tracker_.setWatchesPointer(watchPointer);
    if (!watchPointer)
        pointerTask_.stop();
    reposition();
    if (pinnedExpanded)
        tracker_.openPinned();
    apply();
    panel_->show();
    // Under some window managers Qt takes a frameless tool window placed before show() to be at
    // 0,0 while the server has it where it was put; placing it again sets both straight.
    if (!placement_.isNull())
        panel_->setGeometry(placement_);
    if (!isOffscreen())
        panel_->raise();
    if (!shown_) {
        shown_ = true;
        auto* app = qGuiApp;
        connect(app, &QGuiApplication::screenAdded, this, &WidgetPanelController::reposition);
        connect(app, &QGuiApplication::screenRemoved, this, &WidgetPanelController::reposition);
        connect(app, &QGuiApplication::primaryScreenChanged, this,
                &WidgetPanelController::reposition);
    }
    applyBlur();
    qCInfo(uiLog) << "widget shown";
}

void WidgetPanelController::setPinnedOpen(bool open) {
    tracker_.setPinnedOpen(open, metrics(), pointer(), now());
    apply();
}

void WidgetPanelController::present() {
    tracker_.present(metrics(), pointer(), now());
    apply();
}

void WidgetPanelController::collapse() {
    tracker_.collapse();
    apply();
}

void WidgetPanelController::setLook(const WidgetLook& look, double glassBlur) {
    const bool reshape = look.opaqueGlass != rootView_->look().opaqueGlass;
    rootView_->setLook(look);
    blurRadius_ = look.blurBehind ? WidgetGlass::blurRadius(glassBlur, look.reduceTransparency) : 0;
    if (reshape)
        updateMask();
    else
        applyBlur();
}

// The window server blurs behind the glass only, never the see-through canvas around it: the
// column, and the panel while its area is in the mask.
void WidgetPanelController::applyBlur() {
    // Only a window that exists on the server can be given a blur.
    if (!shown_ || !panel_->windowHandle())
        return;
    const QRegion region = blurRadius_ > 0 ? glassRegion() : QRegion();
    if (blurRadius_ == appliedBlur_ && region == appliedBlurRegion_)
        return;
    appliedBlur_ = blurRadius_;
    appliedBlurRegion_ = region;
    WindowBlur::set(blurRadius_, *panel_->windowHandle(), region);
}

QRegion WidgetPanelController::glassRegion() const {
    if (placement_.isNull())
        return {};
    const WidgetMetrics metrics = this->metrics();
    const double height = placement_.height();
    auto toCanvas = [height](const LayoutRect& r) {
        const LayoutRect flipped = r.flipped(height);
        return QRectF(flipped.x, flipped.y, flipped.width, flipped.height);
    };
    QPainterPath glass = WidgetGlass::capsule(toCanvas(metrics.columnRect()));
    if (maskExpanded_)
        glass.addPath(
            WidgetGlass::roundedRect(toCanvas(metrics.panelRect()), WidgetGlass::panelRadius));
    return QRegion(glass.toFillPolygon().toPolygon(), Qt::WindingFill);
}

WidgetMetrics WidgetPanelController::metrics() const {
    return rootView_->metrics();
}

CanvasPoint WidgetPanelController::pointer() const {
    // Measured against the computed placement, not the window's idea of its own position.
    return canvasPoint(QCursor::pos(), placement_);
}

double WidgetPanelController::now() const {
    return double(clock_.nsecsElapsed()) / 1e9;
}

void WidgetPanelController::evaluatePointer() {
    if (placement_.isNull())
        return;
    tracker_.evaluate(metrics(), pointer(), now());
    apply();
}

void WidgetPanelController::pointerCrossed(PointerCrossing crossing) {
    if (placement_.isNull())
        return;
    switch (crossing) {
    case PointerCrossing::moved:
        tracker_.evaluate(metrics(), pointer(), now());
        break;
    case PointerCrossing::entered:
        tracker_.pointerEntered(metrics(), pointer(), now());
        break;
    case PointerCrossing::left:
        // A menu of our own taking the pointer is no leaving: it opens where the pointer is.
        if (QApplication::activePopupWidget())
            tracker_.evaluate(metrics(), pointer(), now());
        else
            tracker_.pointerLeft(metrics(), pointer(), now());
        break;
    }
    apply();
}

// Where the window's shape is the hot area (X11), the server reports the pointer entering it (and
// moving in it) by itself. While the pointer is away from a closed panel and no delay waits,
// nothing can change until then, and the poll rests instead of asking the server where the
// pointer is several times a second.
void WidgetPanelController::updatePointerTask() {
    const bool resting = DisplayServer::reportsPointerEntry() && !tracker_.isPointerInside() &&
                         !tracker_.isExpanded() && !tracker_.hoverTarget();
    if (!tracker_.watchesPointer() || resting)
        pointerTask_.stop();
    else if (!pointerTask_.isActive())
        pointerTask_.start();
}

bool WidgetPanelController::scroll(double delta) {
    const bool used = tracker_.scroll(metrics(), pointer(), delta, now());
    apply();
    return used;
}

void WidgetPanelController::hoverDelayElapsed() {
    armedDeadline_.reset();
    tracker_.hoverDelayElapsed(metrics(), pointer());
    apply();
}

void WidgetPanelController::reposition() {
    followPrimaryScreen();
    if (!screen_)
        return;
    const QRect frame = placement(screen_->availableGeometry(), fixedCanvasHeight_);
    placement_ = frame;
    model_.setCanvasHeight(frame.height());
    panel_->setGeometry(frame);
    rootView_->setGeometry(0, 0, frame.width(), frame.height());
    updateMask();
    evaluatePointer();
}

void WidgetPanelController::followPrimaryScreen() {
    QScreen* primary = QGuiApplication::primaryScreen();
    if (primary == screen_)
        return;
    if (screen_)
        disconnect(screen_, nullptr, this, nullptr);
    screen_ = primary;
    if (!screen_)
        return;
    connect(screen_, &QScreen::availableGeometryChanged, this, &WidgetPanelController::reposition);
    connect(screen_, &QScreen::geometryChanged, this, &WidgetPanelController::reposition);
}

void WidgetPanelController::apply() {
    const bool wasExpanded = model_.isExpanded();
    model_.setScrollOffset(tracker_.scrollOffset());
    model_.setExpansionPinned(tracker_.isExpansionPinned());
    model_.setExpanded(tracker_.isExpanded());
    model_.setHoveredIndex(tracker_.hoveredIndex());

    const auto deadline = tracker_.hoverDeadline();
    if (deadline != armedDeadline_) {
        armedDeadline_ = deadline;
        if (deadline)
            hoverTask_.start(milliseconds(std::max(0.0, *deadline - now())));
        else
            hoverTask_.stop();
    }

    updatePointerTask();

    if (tracker_.isExpanded()) {
        // Opened again while the last closing plays: its shrinking must not clip the open panel.
        maskShrink_.stop();
        if (!maskExpanded_) {
            maskExpanded_ = true;
            updateMask();
        }
    } else if (wasExpanded) {
        maskShrink_.start();
    }
}

// Outside its column and open panel the canvas is see-through, and clicks there must reach the
// windows below, so the window's shape is the hot area. Without a compositing manager the
// see-through pixels would show black, so the shape is then the glass itself.
void WidgetPanelController::updateMask() {
    if (!placement_.isNull() && !isOffscreen()) {
        const WidgetMetrics metrics = this->metrics();
        const double height = placement_.height();
        if (rootView_->look().opaqueGlass) {
            panel_->setMask(glassRegion());
        } else {
            const LayoutRect hot = metrics.hotArea(maskExpanded_).flipped(height);
            panel_->setMask(QRegion(QRectF(hot.x, hot.y, hot.width, hot.height).toAlignedRect()));
        }
    }
    applyBlur();
}

} // namespace ostrelvan
