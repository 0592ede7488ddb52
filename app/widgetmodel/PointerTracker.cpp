#include "app/widgetmodel/PointerTracker.h"

#include <algorithm>

namespace ostrelvan {

double PointerTracker::scrollDelta(double deltaY, bool precise) {
    return precise ? deltaY : deltaY * pointsPerWheelLine;
}

bool PointerTracker::isInside(const WidgetMetrics& metrics, CanvasPoint pointer) const {
    return !isStale(pointer) && metrics.hotArea(expanded_).contains(pointer.x, pointer.y);
}

void PointerTracker::notice(CanvasPoint pointer) {
    if (stale_ && *stale_ != pointer)
        stale_.reset();
}

void PointerTracker::evaluate(const WidgetMetrics& metrics, CanvasPoint pointer, double now) {
    notice(pointer);
    // Hit-test against the offset the list is drawn with, which stays in range when it shrinks.
    const double offset = metrics.clampedScroll(scrollOffset_);
    hovered_.reset();
    if (!isStale(pointer)) {
        hovered_ = metrics.lampIndex(pointer.x, pointer.y);
        if (!hovered_ && expanded_)
            hovered_ = metrics.rowIndex(pointer.x, pointer.y, offset);
    }

    const bool inside = isInside(metrics, pointer);
    pointerInside_ = inside;
    if (pinned_)
        return;
    // From here on a presented panel is a hovered one.
    if (inside)
        presented_ = false;
    // A presented panel waiting for the pointer keeps its pending close (target false) as it is.
    if (inside == expanded_) {
        cancelHoverDelay();
        return;
    }
    // A delay already running towards the same state keeps its original deadline.
    if (hoverTarget_ == inside)
        return;
    hoverTarget_ = inside;
    hoverDeadline_ = now + (inside ? expandDelay : collapseDelay);
}

void PointerTracker::hoverDelayElapsed(const WidgetMetrics& metrics, CanvasPoint pointer) {
    if (!hoverTarget_)
        return;
    notice(pointer);
    const bool target = *hoverTarget_;
    cancelHoverDelay();
    // Pinning while a collapse was pending must not let it fire later.
    if (pinned_)
        return;
    if (isInside(metrics, pointer) == target)
        setExpanded(target);
    pointerInside_ = isInside(metrics, pointer);
}

void PointerTracker::pointerLeft(const WidgetMetrics& metrics, CanvasPoint polled, double now) {
    stale_ = polled;
    evaluate(metrics, polled, now);
}

void PointerTracker::pointerEntered(const WidgetMetrics& metrics, CanvasPoint pointer, double now) {
    stale_.reset();
    evaluate(metrics, pointer, now);
}

bool PointerTracker::scroll(const WidgetMetrics& metrics, CanvasPoint pointer, double delta,
                            double now) {
    if (!expanded_)
        return false;
    if (metrics.rowsHeight() <= metrics.viewportHeight())
        return false;
    if (!metrics.panelRect().contains(pointer.x, pointer.y))
        return false;
    const double offset = std::min(std::max(0.0, scrollOffset_ - delta), metrics.maxScrollOffset());
    scrollOffset_ = offset;
    evaluate(metrics, pointer, now);
    return true;
}

void PointerTracker::setPinnedOpen(bool open, const WidgetMetrics& metrics, CanvasPoint pointer,
                                   double now) {
    if (!watchesPointer_)
        return;
    pinned_ = open;
    if (open) {
        cancelHoverDelay();
        setExpanded(true);
    } else {
        evaluate(metrics, pointer, now);
    }
}

void PointerTracker::openPinned() {
    pinned_ = true;
    cancelHoverDelay();
    setExpanded(true);
}

void PointerTracker::present(const WidgetMetrics& metrics, CanvasPoint pointer, double now) {
    if (pinned_)
        return;
    // The pointer has to come to the list; staying where it was is not coming.
    stale_ = pointer;
    setExpanded(true);
    presented_ = true;
    hoverTarget_ = false;
    hoverDeadline_ = now + presentedTimeout;
    evaluate(metrics, pointer, now);
}

void PointerTracker::collapse() {
    if (pinned_)
        return;
    cancelHoverDelay();
    setExpanded(false);
}

void PointerTracker::setExpanded(bool expanded) {
    if (expanded == expanded_)
        return;
    if (!expanded)
        scrollOffset_ = 0;
    expanded_ = expanded;
}

void PointerTracker::cancelHoverDelay() {
    presented_ = false;
    hoverTarget_.reset();
    hoverDeadline_.reset();
}

} // namespace ostrelvan
