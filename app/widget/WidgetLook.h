#pragma once

namespace ostrelvan {

class AppSettings;
struct DesktopPreferences;
enum class GlassAppearance;

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

// The look from the desktop's preferences, the user's glass settings and whether a compositor
// blends translucent windows: the appearance setting overrides the desktop's unless it is
// `system`.
WidgetLook widgetLook(const DesktopPreferences& desktop, GlassAppearance appearance, double tint,
                      bool textContrast, bool compositor);
WidgetLook widgetLook(const DesktopPreferences& desktop, const AppSettings& settings,
                      bool compositor);

} // namespace ostrelvan
