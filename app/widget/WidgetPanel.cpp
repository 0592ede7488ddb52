#include "WidgetPanel.h"

namespace ostrelvan {

WidgetPanel::WidgetPanel(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11NetWmWindowTypeUtility);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Ostrelvan"));
}

} // namespace ostrelvan
