#include "FloatingWindow.h"

#include "X11.h"

#include <QWindow>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

namespace ostrelvan::FloatingWindow {

namespace {

constexpr std::uint32_t allDesktops = 0xFFFFFFFF;
constexpr std::uint32_t addState = 1;

template <class Reply> using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

bool isMapped(xcb_connection_t* connection, xcb_window_t window) {
    const Owned<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, window),
                                        nullptr),
        &std::free);
    return attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED;
}

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

void askWindowManager(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t type,
                      std::array<std::uint32_t, 5> data) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    std::copy(data.begin(), data.end(), event.data.data32);
    xcb_send_event(connection, 0, X11::rootWindow(connection),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
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
    if (!isMapped(connection, id)) {
        setBeforeMap(connection, id, stateProperty, states, desktopProperty);
    } else {
        // A message names at most two states; source 2: a pager-like request, which window
        // managers never refuse for focus-stealing reasons.
        askWindowManager(connection, id, stateProperty, {addState, states[0], states[1], 2, 0});
        askWindowManager(connection, id, stateProperty, {addState, states[2], 0, 2, 0});
        askWindowManager(connection, id, desktopProperty, {allDesktops, 2, 0, 0, 0});
    }
    xcb_flush(connection);
}

} // namespace ostrelvan::FloatingWindow
