#pragma once

#include <QWidget>

namespace ostrelvan {

// The widget's top-level window: frameless, translucent, above ordinary windows, never taking the
// keyboard focus from the user's work and never listed in the taskbar. It holds the canvas and
// nothing else; its controller places it.
class WidgetPanel : public QWidget {
    Q_OBJECT
public:
    explicit WidgetPanel(QWidget* parent = nullptr);
};

} // namespace ostrelvan
