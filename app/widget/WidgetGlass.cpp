#include "WidgetGlass.h"

#include <QPainter>

namespace ostrelvan::WidgetGlass {

QPainterPath capsule(const QRectF& rect) {
    QPainterPath path;
    const double r = std::min(rect.width(), rect.height()) / 2;
    path.addRoundedRect(rect, r, r);
    return path;
}

QPainterPath roundedRect(const QRectF& rect, double radius) {
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

// Placeholder until the glass look lands: a plain tinted fill.
void paint(QPainter& painter, const QPainterPath& shape, const WidgetLook& look) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(shape, look.dark ? QColor(30, 30, 34, 220) : QColor(245, 245, 247, 220));
    painter.restore();
}

} // namespace ostrelvan::WidgetGlass
