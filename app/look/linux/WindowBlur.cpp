#include "app/look/WindowBlur.h"

#include "app/look/linux/X11.h"

#include <QWindow>
#include <cstdlib>
#include <memory>

namespace ostrelvan::WindowBlur {

namespace {
constexpr const char* blurBehind = "_KDE_NET_WM_BLUR_BEHIND_REGION";

// KWin's blur effect announces itself with a property of this name on the root window.
bool blurAnnounced(xcb_connection_t* connection, xcb_atom_t property) {
    const xcb_get_property_cookie_t cookie = xcb_get_property(
        connection, 0, X11::rootWindow(connection), property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0);
    const std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(connection, cookie, nullptr), &std::free);
    return reply && reply->type != XCB_ATOM_NONE;
}
} // namespace

bool set(int radius, QWindow& window) {
    xcb_connection_t* connection = X11::connection();
    if (!connection || !window.handle())
        return false; // not on X11, or the window has not been created yet
    const auto id = xcb_window_t(window.winId());
    const xcb_atom_t property = X11::atom(connection, blurBehind);
    if (property == XCB_ATOM_NONE)
        return false;
    if (radius > 0) {
        // An empty region blurs behind the whole window.
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, property, XCB_ATOM_CARDINAL, 32,
                            0, nullptr);
    } else {
        xcb_delete_property(connection, id, property);
    }
    xcb_flush(connection);
    return radius > 0 && blurAnnounced(connection, property);
}

} // namespace ostrelvan::WindowBlur
