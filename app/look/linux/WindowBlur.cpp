#include "app/look/WindowBlur.h"

#include "app/look/Compositor.h"
#include "app/look/linux/X11.h"

#include <QRegion>
#include <QWindow>
#include <cstdint>
#include <vector>

namespace ostrelvan::WindowBlur {

bool set(int radius, QWindow& window, const QRegion& region) {
    xcb_connection_t* connection = X11::connection();
    if (!connection || !window.handle())
        return false; // not on X11, or the window has not been created yet
    const auto id = xcb_window_t(window.winId());
    const xcb_atom_t property = X11::atom(connection, X11::blurBehindRegion);
    if (property == XCB_ATOM_NONE)
        return false;
    // An empty value would blur behind the whole window, see-through canvas and all; an empty
    // region therefore asks for no blur.
    if (radius > 0 && !region.isEmpty()) {
        const double scale = window.devicePixelRatio();
        std::vector<std::uint32_t> rectangles;
        for (const QRect& r : region) {
            const QRect pixels =
                QRectF(r.x() * scale, r.y() * scale, r.width() * scale, r.height() * scale)
                    .toAlignedRect();
            rectangles.insert(rectangles.end(),
                              {std::uint32_t(pixels.x()), std::uint32_t(pixels.y()),
                               std::uint32_t(pixels.width()), std::uint32_t(pixels.height())});
        }
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, property, XCB_ATOM_CARDINAL, 32,
                            std::uint32_t(rectangles.size()), rectangles.data());
    } else {
        xcb_delete_property(connection, id, property);
    }
    xcb_flush(connection);
    return radius > 0 && !region.isEmpty() && blurAvailable();
}

} // namespace ostrelvan::WindowBlur
