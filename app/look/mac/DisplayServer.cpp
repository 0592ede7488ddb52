#include "app/look/DisplayServer.h"

namespace ostrelvan::DisplayServer {

// macOS has one window server; Qt's cocoa plugin is the only choice.
void preferXcbOnWayland() {}

// Cocoa's enter events come from the view's tracking areas, which are not known to follow the
// window's mask; the poll keeps watching.
bool reportsPointerEntry() {
    return false;
}

} // namespace ostrelvan::DisplayServer
