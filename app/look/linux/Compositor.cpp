#include "app/look/Compositor.h"

#include "app/look/linux/X11.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <cstdlib>
#include <memory>
#include <string>
#include <xcb/xfixes.h>

namespace ostrelvan {

namespace {

template <class T> using Reply = std::unique_ptr<T, decltype(&std::free)>;

xcb_atom_t compositorSelection(xcb_connection_t* connection) {
    const std::string name = "_NET_WM_CM_S" + std::to_string(X11::screenNumber());
    return X11::atom(connection, name.c_str());
}

} // namespace

bool hasCompositor() {
    xcb_connection_t* connection = X11::connection();
    if (!connection)
        return true; // Wayland composites by design; off-screen rendering keeps alpha
    const xcb_atom_t selection = compositorSelection(connection);
    if (selection == XCB_ATOM_NONE)
        return false;
    const Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection),
                                      nullptr),
        &std::free);
    return reply && reply->owner != XCB_WINDOW_NONE;
}

bool blurAvailable() {
    xcb_connection_t* connection = X11::connection();
    if (!connection)
        return false;
    const xcb_atom_t property = X11::atom(connection, X11::blurBehindRegion);
    if (property == XCB_ATOM_NONE)
        return false;
    const xcb_get_property_cookie_t cookie = xcb_get_property(
        connection, 0, X11::rootWindow(connection), property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0);
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr),
                                                &std::free);
    return reply && reply->type != XCB_ATOM_NONE;
}

// Listens on Qt's own X connection: XFixes tells when the compositing manager's selection
// changes hands (set, or its owner gone), and the root window's property changes tell when the
// blur announcement comes or goes.
struct CompositorMonitor::Native : QAbstractNativeEventFilter {
    CompositorMonitor& owner;
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = XCB_WINDOW_NONE;
    xcb_atom_t selection = XCB_ATOM_NONE;
    xcb_atom_t blurProperty = XCB_ATOM_NONE;
    std::uint8_t selectionNotify = 0;
    bool watchesSelection = false;

    explicit Native(CompositorMonitor& monitor) : owner(monitor) {
        connection = X11::connection();
        if (!connection)
            return;
        root = X11::rootWindow(connection);
        selection = compositorSelection(connection);
        blurProperty = X11::atom(connection, X11::blurBehindRegion);

        const xcb_query_extension_reply_t* xfixes =
            xcb_get_extension_data(connection, &xcb_xfixes_id);
        if (xfixes && xfixes->present && selection != XCB_ATOM_NONE) {
            std::free(xcb_xfixes_query_version_reply(
                connection, xcb_xfixes_query_version(connection, 5, 0), nullptr));
            selectionNotify = std::uint8_t(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
            xcb_xfixes_select_selection_input(
                connection, root, selection,
                XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                    XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                    XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
            watchesSelection = true;
        }
        // Property changes on the root window, added to whatever Qt already listens for there.
        const Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, root),
                                            nullptr),
            &std::free);
        const std::uint32_t mask =
            (attributes ? attributes->your_event_mask : 0) | XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(connection);
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~Native() override {
        if (connection && QCoreApplication::instance())
            QCoreApplication::instance()->removeNativeEventFilter(this);
    }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override {
        if (type != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const std::uint8_t kind = event->response_type & 0x7f;
        bool relevant = false;
        if (watchesSelection && kind == selectionNotify) {
            const auto* notify =
                reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event);
            relevant = notify->selection == selection;
        } else if (kind == XCB_PROPERTY_NOTIFY) {
            const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
            relevant = notify->window == root && notify->atom == blurProperty;
        }
        // Read again once Qt has handled the event too, outside its event delivery.
        if (relevant)
            QMetaObject::invokeMethod(&owner, &CompositorMonitor::refresh, Qt::QueuedConnection);
        return false; // Qt keeps its own view of the compositor
    }
};

CompositorMonitor::CompositorMonitor(QObject* parent)
    : QObject(parent), compositing_(hasCompositor()), blur_(blurAvailable()),
      native_(std::make_unique<Native>(*this)) {}

CompositorMonitor::~CompositorMonitor() = default;

void CompositorMonitor::refresh() {
    const bool compositing = hasCompositor();
    const bool blur = blurAvailable();
    if (compositing == compositing_ && blur == blur_)
        return;
    compositing_ = compositing;
    blur_ = blur;
    emit changed();
}

} // namespace ostrelvan
