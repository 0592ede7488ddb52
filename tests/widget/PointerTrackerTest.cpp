#include "app/widgetmodel/PointerTracker.h"

#include <gtest/gtest.h>
#include <limits>

using namespace ostrelvan;

namespace {

// The panel controller's timers on a clock of our own: a poll every 0.15 s and the hover delay
// woken at its deadline, in time order, with the pointer wherever the test last put it.
struct Simulation {
    WidgetMetrics metrics;
    PointerTracker tracker{true};
    double now = 0;
    double nextPoll = PointerTracker::pollInterval;
    CanvasPoint pointer{0, 0};

    explicit Simulation(const std::vector<int>& groups, double height = 600)
        : metrics(groups, height) {}

    // A move the window sees at once (its own enter, move and leave events).
    void move(CanvasPoint to) {
        pointer = to;
        tracker.evaluate(metrics, pointer, now);
    }
    // A move between polls that the window does not see.
    void slip(CanvasPoint to) { pointer = to; }
    // The window reports the pointer gone; polls go on answering `frozen`.
    void leave(CanvasPoint frozen) {
        pointer = frozen;
        tracker.pointerLeft(metrics, pointer, now);
    }
    void enter(CanvasPoint at) {
        pointer = at;
        tracker.pointerEntered(metrics, pointer, now);
    }

    void runUntil(double until) {
        for (;;) {
            const double deadline =
                tracker.hoverDeadline().value_or(std::numeric_limits<double>::infinity());
            const double next = std::min(nextPoll, deadline);
            if (next > until + 1e-9) // sums of 0.15 s steps are not exact
                break;
            now = next;
            if (deadline <= nextPoll) {
                tracker.hoverDelayElapsed(metrics, pointer);
            } else {
                tracker.evaluate(metrics, pointer, now);
                nextPoll += PointerTracker::pollInterval;
            }
        }
        now = until;
    }

    bool expanded() const { return tracker.isExpanded(); }
};

// Three single sessions in 600 points: column 358..394 x 252..348, lamps at 326, 300, 274;
// panel 12..342 x 195..405 with rows from 353 down.
constexpr CanvasPoint onLamp0{376, 326};
constexpr CanvasPoint onLamp2{376, 274};
constexpr CanvasPoint onRow0{100, 340};
constexpr CanvasPoint away{200, 500};

} // namespace

TEST(PointerTracker, HoverExpandsAfterTheDelayAndPollsDoNotRestartIt) {
    Simulation s({1, 1, 1});
    s.runUntil(1.0);
    s.move(onLamp0);
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
    EXPECT_EQ(s.tracker.hoverTarget(), true);
    EXPECT_DOUBLE_EQ(*s.tracker.hoverDeadline(), 1.28);
    s.move(onLamp2); // moving within the column keeps the delay running
    EXPECT_EQ(s.tracker.hoveredIndex(), 2);
    s.runUntil(1.279);
    EXPECT_FALSE(s.expanded());
    EXPECT_DOUBLE_EQ(*s.tracker.hoverDeadline(), 1.28);
    s.runUntil(1.28);
    EXPECT_TRUE(s.expanded());
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);

    // Rows are hit only while the panel is open.
    Simulation closed({1, 1, 1});
    closed.move(onRow0);
    EXPECT_EQ(closed.tracker.hoveredIndex(), std::nullopt);
    s.move(onRow0);
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
}

TEST(PointerTracker, PassingOverTheColumnWithinTheExpandDelayDoesNotExpand) {
    Simulation s({1, 1, 1});
    s.move(onLamp0);
    s.runUntil(0.2);
    s.move(away);
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);
    EXPECT_EQ(s.tracker.hoveredIndex(), std::nullopt);
    s.runUntil(3);
    EXPECT_FALSE(s.expanded());

    // Coming back starts the delay afresh.
    s.move(onLamp0);
    s.runUntil(3.1);
    s.move(away);
    s.runUntil(3.2);
    s.move(onLamp0);
    s.runUntil(3.479);
    EXPECT_FALSE(s.expanded());
    s.runUntil(3.48);
    EXPECT_TRUE(s.expanded());

    // Gone by the time the delay wakes, unseen by any poll: the expansion does not happen.
    PointerTracker t(true);
    const WidgetMetrics m({1, 1, 1}, 600);
    t.evaluate(m, onLamp0, 0);
    t.hoverDelayElapsed(m, away);
    EXPECT_FALSE(t.isExpanded());
    EXPECT_EQ(t.hoverTarget(), std::nullopt);
}

TEST(PointerTracker, LeavingAndComingBackWithinTheCollapseDelayKeepsThePanelOpen) {
    Simulation s({1, 1, 1});
    s.move(onLamp0);
    s.runUntil(1);
    ASSERT_TRUE(s.expanded());
    s.move(onRow0); // the open panel is part of the hot area
    s.runUntil(2);
    EXPECT_TRUE(s.expanded());

    s.move(away);
    EXPECT_EQ(s.tracker.hoverTarget(), false);
    EXPECT_DOUBLE_EQ(*s.tracker.hoverDeadline(), 2.45);
    s.runUntil(2.42);
    s.slip(onRow0); // back after the poll at 2.4: only the waking delay sees it
    s.runUntil(2.45);
    EXPECT_TRUE(s.expanded());
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);
    s.runUntil(4);
    EXPECT_TRUE(s.expanded());

    s.move(away);
    s.runUntil(4.449);
    EXPECT_TRUE(s.expanded());
    s.runUntil(4.45);
    EXPECT_FALSE(s.expanded());
}

TEST(PointerTracker, EightPointsAroundTheColumnOrTheOpenPanelStillCountAsInside) {
    const WidgetMetrics m({1, 1, 1}, 600);
    PointerTracker t(true);
    t.evaluate(m, {350, 300}, 0);
    EXPECT_EQ(t.hoverTarget(), true);
    EXPECT_EQ(t.hoveredIndex(), std::nullopt); // inside the slack, but on no lamp
    t.evaluate(m, {349.9, 300}, 0.1);
    EXPECT_EQ(t.hoverTarget(), std::nullopt);
    t.evaluate(m, {376, 356}, 0.2);
    EXPECT_EQ(t.hoverTarget(), true);
    t.evaluate(m, {376, 356.1}, 0.3);
    EXPECT_EQ(t.hoverTarget(), std::nullopt);
    t.evaluate(m, {402, 244}, 0.4);
    EXPECT_EQ(t.hoverTarget(), true);
    t.hoverDelayElapsed(m, {402, 244});
    ASSERT_TRUE(t.isExpanded());

    // Open: the panel's left edge is at 12, its top at 405.
    t.evaluate(m, {4, 300}, 1);
    EXPECT_EQ(t.hoverTarget(), std::nullopt);
    t.evaluate(m, {3.9, 300}, 1.1);
    EXPECT_EQ(t.hoverTarget(), false);
    t.evaluate(m, {100, 413}, 1.2);
    EXPECT_EQ(t.hoverTarget(), std::nullopt);
    t.evaluate(m, {100, 413.1}, 1.3);
    EXPECT_EQ(t.hoverTarget(), false);
}

TEST(PointerTracker, APinnedPanelIgnoresHoverAndRefusesCollapse) {
    Simulation s({1, 1, 1});
    s.move(away);
    s.tracker.setPinnedOpen(true, s.metrics, s.pointer, s.now);
    EXPECT_TRUE(s.expanded());
    EXPECT_TRUE(s.tracker.isExpansionPinned());
    s.runUntil(5);
    EXPECT_TRUE(s.expanded());
    s.tracker.collapse();
    EXPECT_TRUE(s.expanded());
    s.move(onLamp2); // the hovered lamp still follows the pointer
    EXPECT_EQ(s.tracker.hoveredIndex(), 2);

    // Unpinned, hover decides again: outside, the usual collapse delay runs.
    s.move(away);
    s.tracker.setPinnedOpen(false, s.metrics, s.pointer, s.now);
    EXPECT_FALSE(s.tracker.isExpansionPinned());
    EXPECT_DOUBLE_EQ(*s.tracker.hoverDeadline(), 5.45);
    s.runUntil(5.45);
    EXPECT_FALSE(s.expanded());

    // Pinned while a hover collapse is pending: that collapse never fires.
    s.move(onLamp0);
    s.runUntil(7);
    ASSERT_TRUE(s.expanded());
    s.move(away);
    s.runUntil(7.2);
    s.tracker.setPinnedOpen(true, s.metrics, s.pointer, s.now);
    s.runUntil(9);
    EXPECT_TRUE(s.expanded());

    // collapse() closes an unpinned panel at once and drops a pending delay.
    PointerTracker hovered(true);
    hovered.evaluate(s.metrics, onLamp0, 0);
    hovered.hoverDelayElapsed(s.metrics, onLamp0);
    hovered.evaluate(s.metrics, away, 1);
    ASSERT_EQ(hovered.hoverTarget(), false);
    hovered.collapse();
    EXPECT_FALSE(hovered.isExpanded());
    EXPECT_EQ(hovered.hoverTarget(), std::nullopt);

    // Without pointer watching there is no hover to override; a preview still opens pinned.
    PointerTracker unwatched(false);
    unwatched.setPinnedOpen(true, s.metrics, away, 0);
    EXPECT_FALSE(unwatched.isExpanded());
    EXPECT_FALSE(unwatched.isExpansionPinned());
    unwatched.openPinned();
    EXPECT_TRUE(unwatched.isExpanded());
    EXPECT_TRUE(unwatched.isExpansionPinned());
}

TEST(PointerTracker, WheelScrollingClampsAndIsConsumedOnlyOverAnOverflowingOpenPanel) {
    EXPECT_EQ(PointerTracker::scrollDelta(-1, false), -25);
    EXPECT_EQ(PointerTracker::scrollDelta(2, false), 50);
    EXPECT_EQ(PointerTracker::scrollDelta(-3.5, true), -3.5);

    // Thirty sessions: body 12..342 x 20..536, at most 984 points of scrolling.
    const WidgetMetrics m(std::vector<int>(30, 1), 600);
    const CanvasPoint inList{100, 526};
    PointerTracker t(true);
    EXPECT_FALSE(t.scroll(m, inList, -25, 0)); // closed
    t.openPinned();
    t.evaluate(m, inList, 0);
    EXPECT_EQ(t.hoveredIndex(), 0);

    EXPECT_TRUE(t.scroll(m, inList, PointerTracker::scrollDelta(-1, false), 0));
    EXPECT_EQ(t.scrollOffset(), 25);
    EXPECT_TRUE(t.scroll(m, inList, PointerTracker::scrollDelta(-3.5, true), 0));
    EXPECT_EQ(t.scrollOffset(), 28.5);
    EXPECT_TRUE(t.scroll(m, inList, -71.5, 0));
    EXPECT_EQ(t.scrollOffset(), 100);
    EXPECT_EQ(t.hoveredIndex(), 2); // the row under the pointer changed with the list

    EXPECT_TRUE(t.scroll(m, inList, 1000, 0));
    EXPECT_EQ(t.scrollOffset(), 0);
    EXPECT_TRUE(t.scroll(m, inList, 25, 0)); // already at the top: still consumed
    EXPECT_EQ(t.scrollOffset(), 0);
    EXPECT_TRUE(t.scroll(m, inList, -5000, 0));
    EXPECT_EQ(t.scrollOffset(), 984);
    EXPECT_EQ(t.hoveredIndex(), 19);

    // Over the column, or with a list that fits, the wheel is not ours.
    EXPECT_FALSE(t.scroll(m, {376, 300}, 25, 0));
    EXPECT_EQ(t.scrollOffset(), 984);
    const WidgetMetrics fits({1, 1, 1}, 600);
    EXPECT_FALSE(t.scroll(fits, onRow0, -25, 0));

    // A list that shrank under a deep offset is hit-tested at its clamped offset.
    const WidgetMetrics shorter(std::vector<int>(12, 1), 600); // rows 600, at most 84 of scroll
    t.evaluate(shorter, {100, 200}, 0);
    EXPECT_EQ(t.hoveredIndex(), shorter.rowIndex(100, 200, 84));
    EXPECT_NE(t.hoveredIndex(), std::nullopt);
}

TEST(PointerTracker, CollapsingPutsTheListBackAtTheTop) {
    Simulation s(std::vector<int>(30, 1));
    const CanvasPoint inList{100, 300};
    s.move({376, 300});
    s.runUntil(1);
    ASSERT_TRUE(s.expanded());
    s.move(inList);
    ASSERT_TRUE(s.tracker.scroll(s.metrics, inList, -300, s.now));
    EXPECT_EQ(s.tracker.scrollOffset(), 300);
    s.move({0, 300}); // left of the panel's slack
    s.runUntil(2);
    EXPECT_FALSE(s.expanded());
    EXPECT_EQ(s.tracker.scrollOffset(), 0);

    PointerTracker pinned(true);
    pinned.openPinned();
    ASSERT_TRUE(pinned.scroll(s.metrics, inList, -40, 0));
    pinned.setPinnedOpen(false, s.metrics, inList, 0);
    pinned.collapse();
    EXPECT_FALSE(pinned.isExpanded());
    EXPECT_EQ(pinned.scrollOffset(), 0);
}

TEST(PointerTracker, AfterTheWindowSaysThePointerLeftAPollThatDoesNotMoveIsStale) {
    // Onto a native window of a Wayland desktop: the poll keeps answering the row it left from.
    Simulation s({1, 1, 1});
    s.move(onLamp0);
    s.runUntil(1);
    ASSERT_TRUE(s.expanded());
    s.move(onRow0);
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
    s.runUntil(2);
    s.leave(onRow0);
    EXPECT_EQ(s.tracker.hoveredIndex(), std::nullopt);
    EXPECT_FALSE(s.tracker.isPointerInside());
    EXPECT_DOUBLE_EQ(*s.tracker.hoverDeadline(), 2.45);
    s.runUntil(2.449);
    EXPECT_TRUE(s.expanded());
    s.runUntil(2.45);
    EXPECT_FALSE(s.expanded());
    s.runUntil(10); // polls answering the frozen point open nothing
    EXPECT_FALSE(s.expanded());
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);

    // Back on the window, where the frozen point happens to be the real one again.
    s.enter(onLamp0);
    s.slip(onRow0);
    s.enter(onRow0);
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt); // closed: the row is not in the hot area
    s.enter(onLamp0);
    s.leave(onLamp0);
    s.runUntil(11);
    EXPECT_FALSE(s.expanded());
    s.enter(onLamp0);
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
    s.runUntil(11.28);
    EXPECT_TRUE(s.expanded());

    // Onto another X11 window the poll moves on: a real move is believed at once.
    s.leave(onRow0);
    s.runUntil(11.4);
    s.slip(onLamp2);
    s.runUntil(12);
    EXPECT_TRUE(s.expanded());
    EXPECT_EQ(s.tracker.hoveredIndex(), 2);
    EXPECT_TRUE(s.tracker.isPointerInside());

    // A leave seen where the pointer really is outside changes nothing.
    s.leave(away);
    s.runUntil(12.45);
    EXPECT_FALSE(s.expanded());
    s.slip(onLamp0);
    s.runUntil(13);
    EXPECT_TRUE(s.expanded());
}

TEST(PointerTracker, APresentedPanelClosesOnceThePointerHasComeAndGoneOrAfterSixSeconds) {
    // The pointer never comes: closed six seconds later, however long the polls go on.
    Simulation s({1, 1, 1});
    s.move(away);
    s.runUntil(1);
    s.tracker.present(s.metrics, s.pointer, s.now);
    EXPECT_TRUE(s.expanded());
    EXPECT_TRUE(s.tracker.isPresented());
    EXPECT_FALSE(s.tracker.isExpansionPinned());
    EXPECT_DOUBLE_EQ(*s.tracker.hoverDeadline(), 1 + PointerTracker::presentedTimeout);
    s.move({200, 520}); // moving about elsewhere does not shorten it
    s.runUntil(6.99);
    EXPECT_TRUE(s.expanded());
    s.runUntil(7);
    EXPECT_FALSE(s.expanded());
    EXPECT_FALSE(s.tracker.isPresented());

    // It comes, stays a while, and goes: closed after the usual delay.
    s.tracker.present(s.metrics, s.pointer, s.now);
    s.runUntil(8);
    s.move(onRow0);
    EXPECT_FALSE(s.tracker.isPresented());
    EXPECT_EQ(s.tracker.hoverDeadline(), std::nullopt);
    s.runUntil(20); // no timeout while it is there
    EXPECT_TRUE(s.expanded());
    s.move(away);
    s.runUntil(20.449);
    EXPECT_TRUE(s.expanded());
    s.runUntil(20.45);
    EXPECT_FALSE(s.expanded());

    // A pointer resting where the list opens has not come to it; once it moves, it has.
    s.slip(onRow0);
    s.runUntil(21);
    s.tracker.present(s.metrics, s.pointer, s.now);
    EXPECT_EQ(s.tracker.hoveredIndex(), std::nullopt);
    s.runUntil(26.99);
    EXPECT_TRUE(s.expanded());
    s.runUntil(27);
    EXPECT_FALSE(s.expanded());
    s.tracker.present(s.metrics, s.pointer, s.now);
    s.slip({101, 340});
    s.runUntil(40);
    EXPECT_TRUE(s.expanded());
    EXPECT_FALSE(s.tracker.isPresented());

    // Unwatched for hover, the timeout still closes it.
    PointerTracker still(false);
    still.present(s.metrics, away, 0);
    ASSERT_TRUE(still.isExpanded());
    still.hoverDelayElapsed(s.metrics, away);
    EXPECT_FALSE(still.isExpanded());
}

TEST(PointerTracker, APinStaysAPinWhateverIsPresented) {
    Simulation s({1, 1, 1});
    s.move(away);
    s.tracker.setPinnedOpen(true, s.metrics, s.pointer, s.now);
    s.tracker.present(s.metrics, s.pointer, s.now);
    EXPECT_TRUE(s.tracker.isExpansionPinned());
    EXPECT_FALSE(s.tracker.isPresented());
    EXPECT_EQ(s.tracker.hoverDeadline(), std::nullopt);
    s.leave(onRow0);
    s.runUntil(30);
    EXPECT_TRUE(s.expanded());

    // Pinned while presented: the timeout is gone; unpinned, hover decides.
    Simulation p({1, 1, 1});
    p.move(away);
    p.tracker.present(p.metrics, p.pointer, p.now);
    p.runUntil(2);
    p.tracker.setPinnedOpen(true, p.metrics, p.pointer, p.now);
    p.runUntil(30);
    EXPECT_TRUE(p.expanded());
    p.tracker.setPinnedOpen(false, p.metrics, p.pointer, p.now);
    EXPECT_DOUBLE_EQ(*p.tracker.hoverDeadline(), 30.45);
    p.runUntil(30.45);
    EXPECT_FALSE(p.expanded());
}
