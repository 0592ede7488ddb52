#include "DisplayServer.h"

namespace ostrelvan::DisplayServer {

// macOS has one window server; Qt's cocoa plugin is the only choice.
void preferXcbOnWayland() {}

// The poll keeps watching: what cocoa reports follows the view's tracking area, not the shape of
// the panel's hot area.
bool reportsPointerEntry() {
    return false;
}

} // namespace ostrelvan::DisplayServer
