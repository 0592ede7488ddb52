#pragma once

#include "WidgetLook.h"

#include <QColor>
#include <QRectF>
#include <QString>

class QPainter;

namespace ostrelvan::TextHalo {

// Draws `text` with the painter's font in `color`, aligned in `rect` by `flags` (Qt::Alignment
// and Qt::TextFlag values), with the contrast halo behind it when the look asks for one.
void drawText(QPainter& painter, const QRectF& rect, int flags, const QString& text,
              const QColor& color, const WidgetLook& look);

} // namespace ostrelvan::TextHalo
