#include "app/widget/WidgetPanel.h"

#include "app/look/FloatingWindow.h"

#include <QWindow>

namespace ostrelvan {

WidgetPanel::WidgetPanel(QWidget* parent)
    : QWidget(parent, FloatingWindow::type() | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11NetWmWindowTypeUtility);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Ostrelvan"));
}

// Sent before the window is mapped, which is when X11 window managers read a window's state.
void WidgetPanel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (QWindow* window = windowHandle())
        FloatingWindow::joinAllWorkspaces(*window);
}

} // namespace ostrelvan
