#include "app/look/Compositor.h"

#include "app/look/linux/X11.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace ostrelvan {

bool hasCompositor() {
    xcb_connection_t* connection = X11::connection();
    if (!connection)
        return true; // Wayland composites by design; off-screen rendering keeps alpha
    const std::string name = "_NET_WM_CM_S" + std::to_string(X11::screenNumber());
    const xcb_atom_t selection = X11::atom(connection, name.c_str());
    if (selection == XCB_ATOM_NONE)
        return false;
    const std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection),
                                      nullptr),
        &std::free);
    return reply && reply->owner != XCB_WINDOW_NONE;
}

} // namespace ostrelvan
