#pragma once

#include "base/Environment.h"

#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan::DisplayServer {

// The platform plugin the app asks Qt for in `environment`: "xcb" on a Wayland session (where a
// client can neither place its window nor keep it on top, but XWayland allows both) unless the
// user chose one in QT_QPA_PLATFORM; none otherwise.
std::optional<std::string> preferredPlatform(const Environment& environment);

// Applies preferredPlatform to this process's QT_QPA_PLATFORM. Call it before the application
// object exists. Does nothing on macOS.
void preferXcbOnWayland();

// Whether the window server tells the app's shaped window, by itself, when the pointer enters it,
// so that the pointer poll may rest while the pointer is away. Asks the running application.
bool reportsPointerEntry();

// The screen number of an X display name (":0" 0, ":1.2" 2, "host:0.1" 1).
int x11ScreenNumber(std::string_view display);

} // namespace ostrelvan::DisplayServer
