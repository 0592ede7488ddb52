#pragma once

namespace ostrelvan {

// Whether translucent window pixels are blended with what lies behind. On X11 that needs a
// compositing manager (an owner of the _NET_WM_CM_S<screen> selection); without one they show
// black, and the glass must be drawn opaque. Wayland, macOS and off-screen rendering always
// blend. Call it after the application object exists.
bool hasCompositor();

} // namespace ostrelvan
