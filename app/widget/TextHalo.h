#pragma once

#include "app/widget/WidgetLook.h"

#include <QColor>
#include <QRectF>
#include <QString>

class QPainter;

namespace ostrelvan::TextHalo {

// The halo: a shadow with no offset, blurred by a Gaussian of this deviation in points, black at
// 0.75 on dark glass and white at 0.75 on light glass.
inline constexpr double radius = 1.5;
QColor color(bool dark);

// Draws `text` with the painter's font in `color`, aligned in `rect` by `flags` (Qt::Alignment
// and Qt::TextFlag values), with the contrast halo behind it when the look asks for one.
void drawText(QPainter& painter, const QRectF& rect, int flags, const QString& text,
              const QColor& color, const WidgetLook& look);
// The same with tabular digits (WidgetFonts::drawTabular), for counts and times.
void drawTabularText(QPainter& painter, const QRectF& rect, int flags, const QString& text,
                     const QColor& color, const WidgetLook& look);

} // namespace ostrelvan::TextHalo
