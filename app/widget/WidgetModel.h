#pragma once

#include <QObject>
#include <optional>

namespace ostrelvan {

// The widget's shared state: the panel controller writes it, the views read it. A setter that is
// given the value already held stays silent, so the pointer poll writing the same hovered index
// several times a second repaints nothing.
class WidgetModel : public QObject {
    Q_OBJECT
public:
    explicit WidgetModel(QObject* parent = nullptr) : QObject(parent) {}

    bool isExpanded() const { return isExpanded_; }
    bool isExpansionPinned() const { return isExpansionPinned_; }
    std::optional<int> hoveredIndex() const { return hoveredIndex_; }
    double scrollOffset() const { return scrollOffset_; }
    double canvasHeight() const { return canvasHeight_; }

    void setExpanded(bool value);
    void setExpansionPinned(bool value);
    void setHoveredIndex(std::optional<int> value);
    void setScrollOffset(double value); // negative values are taken as 0
    void setCanvasHeight(double value);

signals:
    void expandedChanged();
    void expansionPinnedChanged();
    void hoveredIndexChanged();
    void scrollOffsetChanged();
    void canvasHeightChanged();

private:
    bool isExpanded_ = false;
    bool isExpansionPinned_ = false;
    std::optional<int> hoveredIndex_;
    double scrollOffset_ = 0;
    double canvasHeight_ = 600;
};

} // namespace ostrelvan
