#include "app/widgetmodel/WidgetMetrics.h"

#include <algorithm>
#include <cmath>

namespace ostrelvan {

double roundHalfAwayFromZero(double value) {
    return std::round(value);
}

WidgetMetrics::WidgetMetrics(const std::vector<int>& sizes, double height) : canvasHeight(height) {
    for (int size : sizes) {
        if (size < 1)
            continue;
        groupSizes.push_back(size);
        for (int k = 0; k < size; ++k) {
            grouped.push_back(size != 1);
            opensGroup.push_back(k == 0);
        }
    }
}

double WidgetMetrics::lampOffset(int i) const {
    const int n = sessionCount();
    int gaps = 0;
    for (int j = 1; j <= i && j < n; ++j)
        if (opensGroup[j] && (grouped[j] || grouped[j - 1]))
            ++gaps;
    return lampPitch * i + lampGroupGap * gaps;
}

double WidgetMetrics::rowOffset(int i) const {
    const int n = sessionCount();
    int headers = 0;
    for (int j = 0; j <= i && j < n; ++j)
        if (opensGroup[j] && grouped[j])
            ++headers;
    return rowHeight * i + groupHeaderHeight * headers;
}

double WidgetMetrics::rowsHeight() const {
    const int n = sessionCount();
    return n == 0 ? 0 : rowOffset(n - 1) + rowHeight;
}

double WidgetMetrics::viewportHeight() const {
    return canvasHeight - outerMargin - panelHeader - panelBottomPadding;
}

double WidgetMetrics::maxScrollOffset() const {
    return std::max(0.0, rowsHeight() - viewportHeight());
}

double WidgetMetrics::clampedScroll(double offset) const {
    return std::clamp(offset, 0.0, maxScrollOffset());
}

int WidgetMetrics::maxLamps() const {
    const int n = sessionCount();
    if (n == 0)
        return 1;
    const double available = canvasHeight - outerMargin - columnPadding;
    if (lampOffset(n - 1) + lampPitch <= available)
        return n;
    const double withOverflow = available - overflowAllowance;
    for (int k = n - 1; k >= 1; --k)
        if (lampOffset(k - 1) + lampPitch <= withOverflow)
            return k;
    return 1;
}

LayoutRect WidgetMetrics::columnRect() const {
    const int n = sessionCount();
    const int lamps = maxLamps();
    const int shown = std::min(lamps, std::max(n, 1));
    double height = lampOffset(shown - 1) + lampPitch + columnPadding;
    if (lamps < n)
        height += overflowAllowance;
    const double x = canvasWidth - columnRightInset - columnWidth;
    return {x, roundHalfAwayFromZero((canvasHeight - height) / 2), columnWidth, height};
}

LayoutRect WidgetMetrics::panelRect() const {
    const int n = sessionCount();
    const double visible = std::min(viewportHeight(), rowsHeight());
    const double height = n == 0 ? emptyPanelHeight : visible + panelHeader + panelBottomPadding;
    const double x = columnRect().minX() - panelColumnGap - panelWidth;
    return {x, roundHalfAwayFromZero((canvasHeight - height) / 2), panelWidth, height};
}

LayoutRect WidgetMetrics::bodyRect() const {
    const double visible = sessionCount() == 0 ? 0 : std::min(viewportHeight(), rowsHeight());
    const LayoutRect panel = panelRect();
    return {panel.minX(), panel.maxY() - panelHeader - visible, panel.width, visible};
}

double WidgetMetrics::lampCentreY(int i) const {
    return columnRect().maxY() - columnPadding / 2 - lampOffset(i) - lampPitch / 2;
}

LayoutRect WidgetMetrics::rowRect(int i, double offset) const {
    const LayoutRect panel = panelRect();
    const double top = panel.maxY() - panelHeader - rowOffset(i) + offset;
    return {panel.minX(), top - rowHeight, panel.width, rowHeight};
}

std::optional<LayoutRect> WidgetMetrics::groupHeaderRect(int i, double offset) const {
    if (i < 0 || i >= sessionCount() || !(opensGroup[i] && grouped[i]))
        return std::nullopt;
    const LayoutRect row = rowRect(i, offset);
    return LayoutRect{row.x, row.maxY(), row.width, groupHeaderHeight};
}

LayoutRect WidgetMetrics::hotArea(bool expanded) const {
    const LayoutRect area = expanded ? columnRect().united(panelRect()) : columnRect();
    return area.grownBy(hoverSlack);
}

std::optional<int> WidgetMetrics::lampIndex(double x, double y) const {
    const int n = sessionCount();
    if (n == 0 || !columnRect().contains(x, y))
        return std::nullopt;
    const int lamps = std::min(maxLamps(), n);
    for (int i = 0; i < lamps; ++i)
        if (std::abs(lampCentreY(i) - y) < lampHitHalfHeight)
            return i;
    return std::nullopt;
}

std::optional<int> WidgetMetrics::rowIndex(double x, double y, double offset) const {
    if (!bodyRect().contains(x, y))
        return std::nullopt;
    for (int i = 0; i < sessionCount(); ++i)
        if (rowRect(i, offset).contains(x, y))
            return i;
    return std::nullopt;
}

} // namespace ostrelvan
