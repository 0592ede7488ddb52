#include "app/look/DisplayServer.h"

#include <QGuiApplication>
#include <cstdlib>

namespace ostrelvan::DisplayServer {

void preferXcbOnWayland() {
    if (const auto platform = preferredPlatform(processEnvironment()))
        ::setenv("QT_QPA_PLATFORM", platform->c_str(), 1);
}

// X11 makes the window's shape its input area and sends enter and motion events for it. Native
// Wayland and the offscreen platform give no such promise for the hot area.
bool reportsPointerEntry() {
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

} // namespace ostrelvan::DisplayServer
