#pragma once

#include "app/widgetmodel/LayoutRect.h"

#include <QRect>
#include <QtGlobal>

namespace ostrelvan::CanvasGeometry {

// The metrics speak y-up from the canvas's bottom edge; Qt's widgets are placed y-down from the
// top. Every rectangle and height the views use crosses over here, once.
inline QRect toCanvas(const LayoutRect& rect, double canvasHeight) {
    const LayoutRect down = rect.flipped(canvasHeight);
    return {qRound(down.x), qRound(down.y), qRound(down.width), qRound(down.height)};
}

inline double toCanvasY(double y, double canvasHeight) {
    return canvasHeight - y;
}

} // namespace ostrelvan::CanvasGeometry
