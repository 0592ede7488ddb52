#include "app/widget/WidgetModel.h"

#include <algorithm>

namespace ostrelvan {

namespace {
template <class T, class Signal>
void assign(WidgetModel* model, T& field, const T& value, Signal changed) {
    if (field == value)
        return;
    field = value;
    emit(model->*changed)();
}
} // namespace

void WidgetModel::setExpanded(bool value) {
    assign(this, isExpanded_, value, &WidgetModel::expandedChanged);
}
void WidgetModel::setExpansionPinned(bool value) {
    assign(this, isExpansionPinned_, value, &WidgetModel::expansionPinnedChanged);
}
void WidgetModel::setHoveredIndex(std::optional<int> value) {
    assign(this, hoveredIndex_, value, &WidgetModel::hoveredIndexChanged);
}
void WidgetModel::setScrollOffset(double value) {
    assign(this, scrollOffset_, std::max(0.0, value), &WidgetModel::scrollOffsetChanged);
}
void WidgetModel::setCanvasHeight(double value) {
    assign(this, canvasHeight_, value, &WidgetModel::canvasHeightChanged);
}

} // namespace ostrelvan
