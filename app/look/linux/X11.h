#pragma once

#include <xcb/xcb.h>

// Small helpers over Qt's own X connection, shared by the Linux files of this folder.
namespace ostrelvan::X11 {

// KDE's blur-behind property: on a window, the region to blur; on the root window, KWin's blur
// effect announcing itself.
inline constexpr const char* blurBehindRegion = "_KDE_NET_WM_BLUR_BEHIND_REGION";

// Qt's connection when the app runs on xcb (X11 or XWayland); null on any other platform.
xcb_connection_t* connection();
// The display's screen, as DISPLAY names it.
int screenNumber();
xcb_window_t rootWindow(xcb_connection_t* connection);
// XCB_ATOM_NONE when the server does not know the name and `onlyIfExists` is set.
xcb_atom_t atom(xcb_connection_t* connection, const char* name, bool onlyIfExists = false);

} // namespace ostrelvan::X11
