#pragma once

#include "app/widget/WidgetLook.h"

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
// The same levels for the glass of `look`. On glass that is not frosted (drawn nearly or wholly
// opaque) they are stronger, so that even the faintest reaches 3:1 against it.
QColor textPrimary(const WidgetLook& look);
QColor textSecondary(const WidgetLook& look);
QColor textTertiary(const WidgetLook& look);
// The opaque window background that stands in for the glass when transparency is reduced or
// cannot be shown.
QColor windowBackground(bool dark);
// The fill of glass that no blur lies behind, before its opacity.
QColor unblurredFill(bool dark);
// `color` with its opacity scaled by `opacity`.
QColor withOpacity(QColor color, double opacity);
// A vertical gradient over `rect`, top to bottom: white at `top`, white at `bottom`, and white at
// bottom × 1.6 at the lower edge.
QLinearGradient rim(double top, double bottom, const QRectF& rect);

} // namespace ostrelvan::GlassColor
