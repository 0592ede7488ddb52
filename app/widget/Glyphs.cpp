#include "Glyphs.h"

#include <QPainter>

namespace ostrelvan::Glyphs {

// Placeholder until the glyph set lands: a small outlined square.
void paint(QPainter& painter, Glyph, const QRectF& rect, const QColor& color, double weight) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color, weight));
    const double side = std::min(rect.width(), rect.height()) * 0.7;
    painter.drawRect(
        QRectF(rect.center().x() - side / 2, rect.center().y() - side / 2, side, side));
    painter.restore();
}

} // namespace ostrelvan::Glyphs
