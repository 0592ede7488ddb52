#pragma once

#include <QColor>
#include <QLinearGradient>
#include <QRectF>

namespace ostrelvan::GlassColor {

QColor success();
QColor attention();
QColor attentionText(bool dark);
QColor idleLamp();
QColor vscode();
// The hierarchical foreground styles, for text on the glass: white on dark glass, black on light,
// each level a step fainter.
QColor textPrimary(bool dark);
QColor textSecondary(bool dark);
QColor textTertiary(bool dark);
// The opaque window background that stands in for the glass when transparency is reduced or
// cannot be shown.
QColor windowBackground(bool dark);
// A vertical gradient over `rect`, top to bottom: white at `top`, white at `bottom`, and white at
// bottom × 1.6 at the lower edge.
QLinearGradient rim(double top, double bottom, const QRectF& rect);

} // namespace ostrelvan::GlassColor
