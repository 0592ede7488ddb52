#pragma once

#include "app/widgetmodel/WidgetMetrics.h"

#include <optional>

namespace ostrelvan {

// A pointer position in the widget canvas's own space (y-up, see LayoutRect).
struct CanvasPoint {
    double x = 0;
    double y = 0;

    bool operator==(const CanvasPoint&) const = default;
};

// What the widget's window reports the pointer did.
enum class PointerCrossing { entered, moved, left };

// Decides what the pointer does to the widget: which lamp or row it is over, when the panel opens
// and closes on hover, pinned and presented opening, and scrolling. It owns no timer and reads no
// clock: the caller passes the metrics, the pointer and the time (seconds on any monotonic clock)
// in, polls evaluate(), reports the window's own enter and leave events, and calls
// hoverDelayElapsed() once hoverDeadline() has come. The widget's model then copies the state out.
//
// A polled position is not always where the pointer is: an X11 client on a Wayland desktop is
// told nothing once the pointer moves onto a native window or the desktop, and its server keeps
// answering the last position it saw, which can be inside the open panel. So after the window
// reports the pointer gone, that same position counts as away until the window reports the
// pointer back or a poll sees it somewhere else.
class PointerTracker {
public:
    static constexpr double pollInterval = 0.15;
    static constexpr double expandDelay = 0.28;
    static constexpr double collapseDelay = 0.45;
    // How long a presented panel waits for a pointer that never comes.
    static constexpr double presentedTimeout = 6;
    // One wheel line: the platform's 50 points scaled by a half.
    static constexpr double pointsPerWheelLine = 25;

    // A wheel event's vertical delta in points: precise (trackpad) deltas as they come, wheel
    // lines at 25 points each.
    static double scrollDelta(double deltaY, bool precise);

    explicit PointerTracker(bool watchesPointer = false) : watchesPointer_(watchesPointer) {}

    bool watchesPointer() const { return watchesPointer_; }
    void setWatchesPointer(bool watches) { watchesPointer_ = watches; }

    bool isExpanded() const { return expanded_; }
    bool isExpansionPinned() const { return pinned_; }
    std::optional<int> hoveredIndex() const { return hovered_; }
    double scrollOffset() const { return scrollOffset_; }
    // The expansion a pending hover delay will apply, and when it is due; none when nothing waits.
    std::optional<bool> hoverTarget() const { return hoverTarget_; }
    std::optional<double> hoverDeadline() const { return hoverDeadline_; }
    // Whether the pointer counted as inside the hot area when last seen.
    bool isPointerInside() const { return pointerInside_; }
    // Opened by present() and not yet reached by the pointer.
    bool isPresented() const { return presented_; }

    // Updates the hovered index and starts, keeps or cancels the delayed expand or collapse.
    void evaluate(const WidgetMetrics& metrics, CanvasPoint pointer, double now);
    // The pending delay has run out: applies its target if the pointer is still on that side.
    void hoverDelayElapsed(const WidgetMetrics& metrics, CanvasPoint pointer);
    // The window reports the pointer gone; `polled` is where a poll then says it is.
    void pointerLeft(const WidgetMetrics& metrics, CanvasPoint polled, double now);
    // The window reports the pointer on it: polls are believed again.
    void pointerEntered(const WidgetMetrics& metrics, CanvasPoint pointer, double now);
    // A wheel delta in points (positive scrolls towards the top); true when it was used.
    bool scroll(const WidgetMetrics& metrics, CanvasPoint pointer, double delta, double now);

    // Pins the panel open, or hands it back to hover. Nothing happens unless the pointer is
    // watched, since without hover there is nothing to override.
    void setPinnedOpen(bool open, const WidgetMetrics& metrics, CanvasPoint pointer, double now);
    // Opens the panel pinned whether or not the pointer is watched (a preview or a screenshot).
    void openPinned();
    // Opens the panel to be looked at without pinning it: once the pointer has come to it, it
    // closes like a hovered one when the pointer leaves; if the pointer never comes it closes
    // after presentedTimeout. A pointer resting where it was does not count as coming. Nothing
    // changes while pinned.
    void present(const WidgetMetrics& metrics, CanvasPoint pointer, double now);
    // Refused while pinned.
    void collapse();

private:
    void setExpanded(bool expanded);
    void cancelHoverDelay();
    bool isInside(const WidgetMetrics& metrics, CanvasPoint pointer) const;
    // Forgets a stale position once a poll answers another one.
    void notice(CanvasPoint pointer);
    bool isStale(CanvasPoint pointer) const { return stale_ == pointer; }

    bool watchesPointer_;
    bool expanded_ = false;
    bool pinned_ = false;
    std::optional<int> hovered_;
    double scrollOffset_ = 0;
    std::optional<bool> hoverTarget_;
    std::optional<double> hoverDeadline_;
    bool pointerInside_ = false;
    bool presented_ = false;
    // A position polls keep answering although the pointer is not there.
    std::optional<CanvasPoint> stale_;
};

} // namespace ostrelvan
