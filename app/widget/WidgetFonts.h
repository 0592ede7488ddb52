#pragma once

#include <QFont>
#include <QRectF>
#include <QString>

class QPainter;

namespace ostrelvan::WidgetFonts {

// Fixed sizes in points (pixels on the canvas), by family name, falling back quietly to the
// desktop's sans-serif when Inter or Manrope is missing.
QFont panelTitle();  // Manrope SemiBold 15
QFont countBadge();  // Inter SemiBold 11, tabular digits
QFont sessionName(); // Inter Medium 14
QFont project();     // Inter Regular 12 (also the window header)
QFont statusLine();  // Inter Regular 12
QFont elapsed();     // Inter Regular 13, tabular digits
QFont emptyTitle();  // Inter Medium 14
QFont emptyHint();   // Inter Regular 12
QFont button();      // Inter SemiBold 13

// Tabular digits. Qt 6.4 cannot switch on a font's "tnum" feature, so the digits are set by hand,
// each centred in a cell as wide as the font's widest digit; other characters keep their own
// advance. The count badge and the elapsed time are drawn this way so that they keep their width
// as they change.
double digitCellWidth(const QFont& font);
double tabularWidth(const QFont& font, const QString& text);
// Draws `text` with the painter's font and pen, aligned in `rect` by the alignment in `flags`,
// on one line.
void drawTabular(QPainter& painter, const QRectF& rect, int flags, const QString& text);

} // namespace ostrelvan::WidgetFonts
