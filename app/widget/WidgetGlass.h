#pragma once

#include "WidgetLook.h"

#include <QPainterPath>
#include <QRectF>

class QPainter;

namespace ostrelvan::WidgetGlass {

QPainterPath capsule(const QRectF& rect);
QPainterPath roundedRect(const QRectF& rect, double radius);
// The panel's corner radius.
inline constexpr double panelRadius = 18;

// Paints the frosted glass background of `shape` (fill, sheen, rim), or the opaque window
// background when transparency is reduced or cannot be shown. Leaves the painter as it found it.
void paint(QPainter& painter, const QPainterPath& shape, const WidgetLook& look);

} // namespace ostrelvan::WidgetGlass
