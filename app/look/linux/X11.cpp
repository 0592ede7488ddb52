#include "app/look/linux/X11.h"

#include "app/look/DisplayServer.h"

#include <QGuiApplication>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace ostrelvan::X11 {

xcb_connection_t* connection() {
    if (!qGuiApp || QGuiApplication::platformName() != QLatin1String("xcb"))
        return nullptr;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

int screenNumber() {
    const char* display = std::getenv("DISPLAY");
    return DisplayServer::x11ScreenNumber(display ? display : "");
}

xcb_window_t rootWindow(xcb_connection_t* connection) {
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = screenNumber(); it.rem > 1 && i > 0; --i)
        xcb_screen_next(&it);
    return it.rem > 0 ? it.data->root : xcb_window_t(XCB_WINDOW_NONE);
}

xcb_atom_t atom(xcb_connection_t* connection, const char* name, bool onlyIfExists) {
    const xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(connection, onlyIfExists, uint16_t(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace ostrelvan::X11
