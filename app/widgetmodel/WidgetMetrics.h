#pragma once

#include "app/widgetmodel/LayoutRect.h"

#include <optional>
#include <vector>

namespace ostrelvan {

// Every length and position of the widget canvas, computed from the displayed groups' sizes and
// the canvas height. Drawing and pointer hit-testing both ask this one value, so they cannot
// disagree. Lengths are in points; coordinates are y-up (see LayoutRect).
struct WidgetMetrics {
    static constexpr double canvasWidth = 402;
    static constexpr double outerMargin = 24;
    static constexpr double lampPitch = 26;
    static constexpr double lampGroupGap = 10;
    static constexpr double columnPadding = 18;
    static constexpr double overflowAllowance = 16;
    static constexpr double columnWidth = 36;
    static constexpr double columnRightInset = 8;
    static constexpr double panelColumnGap = 16;
    static constexpr double panelWidth = 330;
    static constexpr double panelHeader = 52;
    static constexpr double panelBottomPadding = 8;
    static constexpr double emptyPanelHeight = 156;
    static constexpr double rowHeight = 50;
    static constexpr double groupHeaderHeight = 26;
    static constexpr double lampHitHalfHeight = 13;
    // The hot area around the column and the open panel that still counts as "inside".
    static constexpr double hoverSlack = 8;

    std::vector<int> groupSizes;
    double canvasHeight = 600;
    std::vector<bool> grouped;
    std::vector<bool> opensGroup;

    WidgetMetrics() = default;
    WidgetMetrics(const std::vector<int>& groupSizes, double canvasHeight);

    int sessionCount() const { return static_cast<int>(grouped.size()); }

    double lampOffset(int i) const;
    double rowOffset(int i) const;
    // The height of every row with its group headers; 0 with no sessions.
    double rowsHeight() const;
    // The height the rows area may take: the canvas without its margins, header and padding.
    double viewportHeight() const;
    double maxScrollOffset() const;
    double clampedScroll(double offset) const;

    int maxLamps() const;
    LayoutRect columnRect() const;
    LayoutRect panelRect() const;
    LayoutRect bodyRect() const;
    // Centre of lamp i, for i below maxLamps().
    double lampCentreY(int i) const;
    // Row i's rectangle with the list scrolled by `offset`.
    LayoutRect rowRect(int i, double offset) const;
    // The 26-point header above row i when i opens a group of more than one session.
    std::optional<LayoutRect> groupHeaderRect(int i, double offset) const;
    // The column, or the column and the open panel together, grown by hoverSlack.
    LayoutRect hotArea(bool expanded) const;

    std::optional<int> lampIndex(double x, double y) const;
    std::optional<int> rowIndex(double x, double y, double offset) const;

    bool operator==(const WidgetMetrics&) const = default;
};

// Rounds halves away from zero, as the layout rules require (std::round does the same; named so
// that the rule is visible where it is applied).
double roundHalfAwayFromZero(double value);

} // namespace ostrelvan
