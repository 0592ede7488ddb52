#pragma once

namespace ostrelvan {

// How the widget is drawn right now: the appearance and accessibility settings of the desktop,
// the user's glass settings, and whether translucency can be shown at all.
struct WidgetLook {
    bool dark = true;
    bool reduceMotion = false;
    bool reduceTransparency = false;
    // No compositing manager: transparent pixels would show black, so the glass is drawn opaque.
    bool opaqueGlass = false;
    double tint = 0.25;
    bool textContrast = true;

    bool operator==(const WidgetLook&) const = default;
};

} // namespace ostrelvan
