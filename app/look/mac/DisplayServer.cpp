#include "app/look/DisplayServer.h"

namespace ostrelvan::DisplayServer {

// macOS has one window server; Qt's cocoa plugin is the only choice.
void preferXcbOnWayland() {}

} // namespace ostrelvan::DisplayServer
