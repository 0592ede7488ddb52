#pragma once

#include "app/widget/WidgetLook.h"

#include <QPainterPath>
#include <QRectF>
#include <utility>

class QPainter;

namespace ostrelvan::WidgetGlass {

QPainterPath capsule(const QRectF& rect);
QPainterPath roundedRect(const QRectF& rect, double radius);
// The panel's corner radius.
inline constexpr double panelRadius = 20;

// Paints the frosted glass background of `shape` (fill, sheen, rim), or the opaque window
// background when transparency is reduced or cannot be shown. Where no blur lies behind, the
// fill is nearly opaque (unblurredOpacity) and light glass gets a faint dark outline. Leaves the
// painter as it found it.
void paint(QPainter& painter, const QPainterPath& shape, const WidgetLook& look);

// The opacity of the glass's fill where no blur lies behind it: the tint setting, from none to
// its strongest, maps onto this range, so that another window's text never shows through.
inline constexpr std::pair<double, double> unblurredOpacityRange{0.88, 0.97};
double unblurredOpacity(double tint);

// The window-server blur for the user's `glassBlur`: none while transparency is reduced, else the
// setting rounded to whole points, halves away from zero (12.5 gives 13).
int blurRadius(double glassBlur, bool reduceTransparency);

} // namespace ostrelvan::WidgetGlass
