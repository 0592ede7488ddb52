#pragma once

#include "app/widget/WidgetLook.h"

#include <QPainterPath>
#include <QRectF>

class QPainter;
class QWindow;

namespace ostrelvan {
class AppSettings;
struct DesktopPreferences;
} // namespace ostrelvan

namespace ostrelvan::WidgetGlass {

QPainterPath capsule(const QRectF& rect);
QPainterPath roundedRect(const QRectF& rect, double radius);
// The panel's corner radius.
inline constexpr double panelRadius = 20;

// Paints the frosted glass background of `shape` (fill, sheen, rim), or the opaque window
// background when transparency is reduced or cannot be shown. Leaves the painter as it found it.
void paint(QPainter& painter, const QPainterPath& shape, const WidgetLook& look);

// The window-server blur for the user's `glassBlur`: none while transparency is reduced, else the
// setting rounded to whole points, halves away from zero (12.5 gives 13).
int blurRadius(double glassBlur, bool reduceTransparency);
// The glass half of the panel controller: asks the window server to blur behind `window` as the
// settings and the desktop say. The appearance itself is the look's `dark`, which the widget
// paints. Call it once the window exists and again when the blur setting or the desktop's
// preferences change. True when the blur request is known to be honoured.
bool applyGlass(QWindow& window, double glassBlur, const DesktopPreferences& desktop);
bool applyGlass(QWindow& window, const AppSettings& settings, const DesktopPreferences& desktop);

} // namespace ostrelvan::WidgetGlass
