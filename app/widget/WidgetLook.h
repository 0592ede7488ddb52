#pragma once

namespace ostrelvan {

class AppSettings;
struct DesktopPreferences;
enum class GlassAppearance;

// How the widget is drawn right now: the appearance and accessibility settings of the desktop,
// the user's glass settings, and what the window server does with translucent pixels.
struct WidgetLook {
    bool dark = true;
    bool reduceMotion = false;
    bool reduceTransparency = false;
    // No compositing manager: transparent pixels would show black, so the glass is drawn opaque.
    bool opaqueGlass = false;
    // The window server blurs what lies behind the glass. Without that blur a thinly tinted glass
    // lets the text of the windows below show through the list, so the glass is then drawn nearly
    // opaque, with the tint deciding how nearly.
    bool blurBehind = true;
    double tint = 0.25;
    bool textContrast = true;

    // The frosted glass as designed: a thin tint over the window server's blur.
    bool frosted() const { return blurBehind && !opaqueGlass && !reduceTransparency; }

    bool operator==(const WidgetLook&) const = default;
};

// What the window server offers the widget's window.
struct WindowServerGlass {
    // Translucent pixels are blended with what lies behind (a compositing manager runs).
    bool compositing = true;
    // It blurs behind a window that asks for it.
    bool blur = false;

    bool operator==(const WindowServerGlass&) const = default;
};

// The look from the desktop's preferences, the user's glass settings and what the window server
// offers: the appearance setting overrides the desktop's unless it is `system`; the blur is
// applied where the server offers it, the user's blur is above zero and transparency is not
// reduced.
WidgetLook widgetLook(const DesktopPreferences& desktop, GlassAppearance appearance, double tint,
                      bool textContrast, WindowServerGlass server, double glassBlur);
WidgetLook widgetLook(const DesktopPreferences& desktop, const AppSettings& settings,
                      WindowServerGlass server);

} // namespace ostrelvan
