#include "app/look/FloatingWindow.h"

#include "app/look/linux/X11.h"

#include <QWindow>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

namespace ostrelvan::FloatingWindow {

namespace {

constexpr std::uint32_t allDesktops = 0xFFFFFFFF;

template <class Reply> using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

// A window manager reads these when the window is mapped. Qt adds its own states to whatever the
// property holds by then, so these survive its show().
void setBeforeMap(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t stateProperty,
                  const std::array<xcb_atom_t, 3>& states, xcb_atom_t desktopProperty) {
    std::vector<xcb_atom_t> present;
    const Owned<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(
            connection,
            xcb_get_property(connection, 0, window, stateProperty, XCB_ATOM_ATOM, 0, 1024),
            nullptr),
        &std::free);
    if (reply && reply->format == 32 && reply->type == XCB_ATOM_ATOM) {
        const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
        present.assign(atoms, atoms + reply->value_len);
    }
    for (xcb_atom_t state : states)
        if (std::find(present.begin(), present.end(), state) == present.end())
            present.push_back(state);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, stateProperty, XCB_ATOM_ATOM, 32,
                        std::uint32_t(present.size()), present.data());
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, desktopProperty,
                        XCB_ATOM_CARDINAL, 32, 1, &allDesktops);
}

} // namespace

Qt::WindowFlags type() {
    return Qt::Window;
}

void joinAllWorkspaces(QWindow& window) {
    xcb_connection_t* connection = X11::connection();
    if (!connection)
        return;
    const auto id = xcb_window_t(window.winId());
    const xcb_atom_t stateProperty = X11::atom(connection, "_NET_WM_STATE");
    const xcb_atom_t desktopProperty = X11::atom(connection, "_NET_WM_DESKTOP");
    const std::array states{X11::atom(connection, "_NET_WM_STATE_STICKY"),
                            X11::atom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                            X11::atom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    setBeforeMap(connection, id, stateProperty, states, desktopProperty);
    xcb_flush(connection);
}

} // namespace ostrelvan::FloatingWindow
