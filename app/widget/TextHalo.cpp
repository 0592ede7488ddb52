#include "TextHalo.h"

#include <QPainter>

namespace ostrelvan::TextHalo {

// Placeholder until the halo lands: the text alone.
void drawText(QPainter& painter, const QRectF& rect, int flags, const QString& text,
              const QColor& color, const WidgetLook&) {
    painter.save();
    painter.setPen(color);
    painter.drawText(rect, flags, text);
    painter.restore();
}

} // namespace ostrelvan::TextHalo
