#pragma once

#include <QColor>
#include <QRectF>

class QPainter;

namespace ostrelvan {

// The few symbols the widget draws, as vector paths, so that no font the user may lack is needed.
enum class Glyph {
    gear,
    chevronDown,
    chevronCompactUp,
    chevronCompactDown,
    terminal,
    code,
    window,
    checkmark,
    // Two checkmarks: allow, and allow the same again.
    checkmarkDouble,
    xmark
};

namespace Glyphs {
// Draws the glyph centred in `rect`, fitted to its smaller side, with strokes of `weight` points.
void paint(QPainter& painter, Glyph glyph, const QRectF& rect, const QColor& color,
           double weight = 1.5);
} // namespace Glyphs

} // namespace ostrelvan
