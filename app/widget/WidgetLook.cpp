#include "app/widget/WidgetLook.h"

#include "app/look/DesktopPreferences.h"
#include "app/services/AppSettings.h"
#include "app/widget/WidgetGlass.h"

namespace ostrelvan {

WidgetLook widgetLook(const DesktopPreferences& desktop, GlassAppearance appearance, double tint,
                      bool textContrast, WindowServerGlass server, double glassBlur) {
    WidgetLook look;
    switch (appearance) {
    case GlassAppearance::system:
        look.dark = desktop.dark;
        break;
    case GlassAppearance::light:
        look.dark = false;
        break;
    case GlassAppearance::dark:
        look.dark = true;
        break;
    }
    look.reduceMotion = desktop.reduceMotion;
    look.reduceTransparency = desktop.reduceTransparency;
    look.opaqueGlass = !server.compositing;
    look.blurBehind = server.compositing && server.blur &&
                      WidgetGlass::blurRadius(glassBlur, desktop.reduceTransparency) > 0;
    look.tint = tint;
    look.textContrast = textContrast;
    return look;
}

WidgetLook widgetLook(const DesktopPreferences& desktop, const AppSettings& settings,
                      WindowServerGlass server) {
    return widgetLook(desktop, settings.glassAppearance(), settings.glassTint(),
                      settings.textContrast(), server, settings.glassBlur());
}

} // namespace ostrelvan
