#include "app/widgetmodel/PointerTracker.h"

#include <gtest/gtest.h>
#include <limits>

using namespace ostrelvan;

namespace {

// How the pointer reaches a step's position: seen by the window at once (its own enter, move and
// leave events), or only by the next poll (slip).
enum class How { move, slip, enter, leave };

// A line of a script: the clock runs to `at`, the panel must then be `open` (when given), and the
// pointer goes to `to` (when given) the way `how` says.
struct Step {
    double at;
    std::optional<bool> open = {};
    std::optional<CanvasPoint> to = {};
    How how = How::move;
};

// The panel controller's timers on a clock of our own: a poll every 0.15 s and the hover delay
// woken at its deadline, in time order, with the pointer wherever the test last put it.
struct Simulation {
    WidgetMetrics metrics;
    PointerTracker tracker{true};
    double now = 0;
    double nextPoll = PointerTracker::pollInterval;
    CanvasPoint pointer{0, 0};

    explicit Simulation(const std::vector<int>& groups = {1, 1, 1}) : metrics(groups, 600) {}

    void go(CanvasPoint to, How how = How::move) {
        pointer = to;
        if (how == How::move)
            tracker.evaluate(metrics, pointer, now);
        else if (how == How::enter)
            tracker.pointerEntered(metrics, pointer, now);
        else if (how == How::leave) // polls go on answering `to`
            tracker.pointerLeft(metrics, pointer, now);
    }
    void move(CanvasPoint to) { go(to); }

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

    void play(std::initializer_list<Step> script) {
        for (const Step& step : script) {
            runUntil(step.at);
            if (step.open) {
                EXPECT_EQ(expanded(), *step.open) << "at " << step.at;
            }
            if (step.to)
                go(*step.to, step.how);
        }
    }
    // The panel turns `open` exactly at `at`, not a millisecond before.
    void expectFlipAt(double at, bool open) { play({{at - 0.001, !open}, {at, open}}); }

    void pin(bool open) { tracker.setPinnedOpen(open, metrics, pointer, now); }
    void present() { tracker.present(metrics, pointer, now); }
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
    Simulation s;
    s.play({{1.0, {}, onLamp0}});
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
    EXPECT_EQ(s.tracker.hoverTarget(), true);
    s.move(onLamp2); // moving within the column keeps the delay running
    EXPECT_EQ(s.tracker.hoveredIndex(), 2);
    s.expectFlipAt(1.28, true);
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);

    // Rows are hit only while the panel is open.
    Simulation closed;
    closed.move(onRow0);
    EXPECT_EQ(closed.tracker.hoveredIndex(), std::nullopt);
    s.move(onRow0);
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
}

TEST(PointerTracker, PassingOverTheColumnWithinTheExpandDelayDoesNotExpand) {
    Simulation s;
    s.play({{0, {}, onLamp0}, {0.2, {}, away}});
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);
    EXPECT_EQ(s.tracker.hoveredIndex(), std::nullopt);

    // Coming back starts the delay afresh.
    s.play({{3, false, onLamp0}, {3.1, {}, away}, {3.2, {}, onLamp0}});
    s.expectFlipAt(3.48, true);

    // Gone by the time the delay wakes, unseen by the poll before: the expansion does not happen.
    Simulation gone;
    gone.play({{0, {}, onLamp0}, {0.2, {}, away, How::slip}, {0.28, false}});
    EXPECT_EQ(gone.tracker.hoverTarget(), std::nullopt);
}

TEST(PointerTracker, LeavingAndComingBackWithinTheCollapseDelayKeepsThePanelOpen) {
    Simulation s;
    // The open panel is part of the hot area.
    s.play({{0, {}, onLamp0}, {1, true, onRow0}, {2, true, away}});
    EXPECT_EQ(s.tracker.hoverTarget(), false);
    // Back after the poll at 2.4: only the waking delay sees it.
    s.play({{2.42, {}, onRow0, How::slip}, {2.45, true}});
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);
    s.play({{4, true, away}});
    s.expectFlipAt(4.45, false);
}

TEST(PointerTracker, EightPointsAroundTheColumnOrTheOpenPanelStillCountAsInside) {
    const WidgetMetrics m({1, 1, 1}, 600);
    PointerTracker t(true);
    double now = 0;
    const auto targetAt = [&](CanvasPoint p) {
        t.evaluate(m, p, now += 0.1);
        return t.hoverTarget();
    };
    EXPECT_EQ(targetAt({350, 300}), true);
    EXPECT_EQ(targetAt({349.9, 300}), std::nullopt);
    EXPECT_EQ(targetAt({376, 356}), true);
    EXPECT_EQ(targetAt({376, 356.1}), std::nullopt);
    EXPECT_EQ(targetAt({402, 244}), true);
    t.hoverDelayElapsed(m, {402, 244});
    ASSERT_TRUE(t.isExpanded());

    // Open: the panel's left edge is at 12, its top at 405.
    EXPECT_EQ(targetAt({4, 300}), std::nullopt);
    EXPECT_EQ(targetAt({3.9, 300}), false);
    EXPECT_EQ(targetAt({100, 413}), std::nullopt);
    EXPECT_EQ(targetAt({100, 413.1}), false);
}

TEST(PointerTracker, APinnedPanelIgnoresHoverAndRefusesCollapse) {
    Simulation s;
    s.move(away);
    s.pin(true);
    EXPECT_TRUE(s.tracker.isExpansionPinned());
    s.play({{5, true}});
    s.tracker.collapse();
    EXPECT_TRUE(s.expanded());
    s.move(onLamp2); // the hovered lamp still follows the pointer
    EXPECT_EQ(s.tracker.hoveredIndex(), 2);

    // Unpinned, hover decides again: outside, the usual collapse delay runs.
    s.move(away);
    s.pin(false);
    EXPECT_FALSE(s.tracker.isExpansionPinned());
    s.expectFlipAt(5.45, false);

    // Pinned while a hover collapse is pending: that collapse never fires.
    s.play({{5.45, {}, onLamp0}, {7, true, away}, {7.2}});
    s.pin(true);
    s.play({{9, true}});

    // collapse() closes an unpinned panel at once and drops a pending delay.
    Simulation hovered;
    hovered.play({{0, {}, onLamp0}, {1, true, away}});
    ASSERT_EQ(hovered.tracker.hoverTarget(), false);
    hovered.tracker.collapse();
    EXPECT_FALSE(hovered.expanded());
    EXPECT_EQ(hovered.tracker.hoverTarget(), std::nullopt);

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
    // Thirty sessions: body 12..342 x 20..536, at most 984 points of scrolling.
    const WidgetMetrics m(std::vector<int>(30, 1), 600);
    const CanvasPoint inList{100, 526};
    PointerTracker t(true);
    EXPECT_FALSE(t.scroll(m, inList, -25, 0)); // closed
    t.openPinned();
    t.evaluate(m, inList, 0);
    EXPECT_EQ(t.hoveredIndex(), 0);

    // Each wheel delta, the offset it leaves, and the row then under the pointer; at the top a
    // wheel up is still consumed.
    const struct {
        double delta, offset;
        int row;
    } wheel[] = {{-25, 25, 0}, {-75, 100, 2}, {1000, 0, 0}, {25, 0, 0}, {-5000, 984, 19}};
    for (const auto& [delta, offset, row] : wheel) {
        EXPECT_TRUE(t.scroll(m, inList, delta, 0)) << delta;
        EXPECT_EQ(t.scrollOffset(), offset) << delta;
        EXPECT_EQ(t.hoveredIndex(), row) << delta;
    }

    // Over the column, or with a list that fits, the wheel is not ours.
    EXPECT_FALSE(t.scroll(m, {376, 300}, 25, 0));
    EXPECT_EQ(t.scrollOffset(), 984);
    const WidgetMetrics fits({1, 1, 1}, 600);
    EXPECT_FALSE(t.scroll(fits, onRow0, -25, 0));

    // A list that shrank under a deep offset is hit-tested at its clamped offset.
    const WidgetMetrics shorter(std::vector<int>(12, 1), 600); // rows 600, at most 84 of scroll
    t.evaluate(shorter, {100, 200}, 0);
    EXPECT_EQ(t.hoveredIndex(), 8);
}

TEST(PointerTracker, CollapsingPutsTheListBackAtTheTop) {
    Simulation s(std::vector<int>(30, 1));
    const CanvasPoint inList{100, 300};
    s.play({{0, {}, CanvasPoint{376, 300}}, {1, true, inList}});
    ASSERT_TRUE(s.tracker.scroll(s.metrics, inList, -300, s.now));
    EXPECT_EQ(s.tracker.scrollOffset(), 300);
    s.play({{1, {}, CanvasPoint{0, 300}}, {2, false}}); // left of the panel's slack
    EXPECT_EQ(s.tracker.scrollOffset(), 0);
}

TEST(PointerTracker, AfterTheWindowSaysThePointerLeftAPollThatDoesNotMoveIsStale) {
    // Onto a native window of a Wayland desktop: the poll keeps answering the row it left from.
    Simulation s;
    s.play({{0, {}, onLamp0}, {1, true, onRow0}});
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
    s.play({{2, {}, onRow0, How::leave}});
    EXPECT_EQ(s.tracker.hoveredIndex(), std::nullopt);
    EXPECT_FALSE(s.tracker.isPointerInside());
    s.expectFlipAt(2.45, false);
    s.play({{10, false}}); // polls answering the frozen point open nothing
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt);

    // Back on the window, where the frozen point happens to be the real one again.
    s.go(onLamp0, How::enter);
    s.go(onRow0, How::slip);
    s.go(onRow0, How::enter);
    EXPECT_EQ(s.tracker.hoverTarget(), std::nullopt); // closed: the row is not in the hot area
    s.go(onLamp0, How::enter);
    s.go(onLamp0, How::leave);
    s.play({{11, false, onLamp0, How::enter}});
    EXPECT_EQ(s.tracker.hoveredIndex(), 0);
    s.play({{11.28, true}});

    // Onto another X11 window the poll moves on: a real move is believed at once.
    s.play({{11.28, {}, onRow0, How::leave}, {11.4, {}, onLamp2, How::slip}, {12, true}});
    EXPECT_EQ(s.tracker.hoveredIndex(), 2);
    EXPECT_TRUE(s.tracker.isPointerInside());

    // A leave seen where the pointer really is outside changes nothing.
    s.play({{12, {}, away, How::leave}, {12.45, false, onLamp0, How::slip}, {13, true}});
}

TEST(PointerTracker, APresentedPanelClosesOnceThePointerHasComeAndGoneOrAfterSixSeconds) {
    // The pointer never comes: closed six seconds later, however long the polls go on.
    Simulation s;
    s.play({{0, {}, away}, {1}});
    s.present();
    EXPECT_TRUE(s.tracker.isPresented());
    EXPECT_FALSE(s.tracker.isExpansionPinned());
    s.move({200, 520}); // moving about elsewhere does not shorten it
    s.expectFlipAt(1 + PointerTracker::presentedTimeout, false);
    EXPECT_FALSE(s.tracker.isPresented());

    // It comes, stays a while, and goes: closed after the usual delay.
    s.present();
    s.play({{8, {}, onRow0}});
    EXPECT_FALSE(s.tracker.isPresented());
    EXPECT_EQ(s.tracker.hoverDeadline(), std::nullopt);
    s.play({{20, true, away}}); // no timeout while it is there
    s.expectFlipAt(20.45, false);

    // A pointer resting where the list opens has not come to it; once it moves, it has.
    s.play({{20.45, {}, onRow0, How::slip}, {21}});
    s.present();
    EXPECT_EQ(s.tracker.hoveredIndex(), std::nullopt);
    s.expectFlipAt(27, false);
    s.present();
    s.play({{27, {}, CanvasPoint{101, 340}, How::slip}, {40, true}});
    EXPECT_FALSE(s.tracker.isPresented());

    // Unwatched for hover, the timeout still closes it.
    PointerTracker still(false);
    still.present(s.metrics, away, 0);
    ASSERT_TRUE(still.isExpanded());
    still.hoverDelayElapsed(s.metrics, away);
    EXPECT_FALSE(still.isExpanded());

    // A pin stays a pin whatever is presented.
    Simulation pinned;
    pinned.move(away);
    pinned.pin(true);
    pinned.present();
    EXPECT_TRUE(pinned.tracker.isExpansionPinned());
    EXPECT_FALSE(pinned.tracker.isPresented());
    EXPECT_EQ(pinned.tracker.hoverDeadline(), std::nullopt);
    pinned.play({{0, {}, onRow0, How::leave}, {30, true}});

    // Pinned while presented: the timeout is gone; unpinned, hover decides.
    Simulation p;
    p.move(away);
    p.present();
    p.play({{2}});
    p.pin(true);
    p.play({{30, true}});
    p.pin(false);
    p.expectFlipAt(30.45, false);
}
