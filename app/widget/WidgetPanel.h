#pragma once

#include <QWidget>

namespace ostrelvan {

// The widget's top-level window: frameless, translucent, above ordinary windows, never taking the
// keyboard focus from the user's work, on every workspace and never listed in a task bar or pager.
// It holds the canvas and nothing else; its controller places it.
class WidgetPanel : public QWidget {
    Q_OBJECT
public:
    explicit WidgetPanel(QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;
};

} // namespace ostrelvan
