#include "app/widget/WidgetLook.h"

#include "app/services/AppSettings.h"
#include "app/look/DesktopPreferences.h"

namespace ostrelvan {

WidgetLook widgetLook(const DesktopPreferences& desktop, GlassAppearance appearance, double tint,
                      bool textContrast, bool compositor) {
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
    look.opaqueGlass = !compositor;
    look.tint = tint;
    look.textContrast = textContrast;
    return look;
}

WidgetLook widgetLook(const DesktopPreferences& desktop, const AppSettings& settings,
                      bool compositor) {
    return widgetLook(desktop, settings.glassAppearance(), settings.glassTint(),
                      settings.textContrast(), compositor);
}

} // namespace ostrelvan
