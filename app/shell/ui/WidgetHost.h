#pragma once

#include "WidgetActions.h"

#include <functional>
#include <memory>

namespace ostrelvan {

class AppSettings;
class PermissionRequests;
class SessionStore;

// The floating widget as the application state drives it; the widget's panel controller
// implements it.
class WidgetHost {
public:
    virtual ~WidgetHost() = default;
    // At start-up: not pinned, watching the pointer.
    virtual void show() = 0;
    // Kept expanded while the settings window is visible, released when it closes.
    virtual void setPinnedOpen(bool pinned) = 0;
    // Another start of the app asked for the panel: expand it and keep it open.
    virtual void openPinned() = 0;
    // A session was just opened from a row.
    virtual void collapse() = 0;
};

// What the widget is built from. The actions' `extendMenu` is set only when the desktop has no
// tray host: it adds the tray menu's entries, so that the widget's own menu carries them.
struct WidgetContext {
    SessionStore& store;
    AppSettings& settings;
    // The requests whose rows show answer buttons.
    PermissionRequests& requests;
    WidgetActions actions;
};

using WidgetFactory = std::function<std::unique_ptr<WidgetHost>(const WidgetContext&)>;

} // namespace ostrelvan
