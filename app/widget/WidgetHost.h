#pragma once

#include "app/widget/WidgetActions.h"

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
    // Another start of the app asked for the panel: open it until the pointer has come and gone,
    // or for a few seconds if it never comes.
    virtual void present() = 0;
    // A session was just opened from a row.
    virtual void collapse() = 0;
};

// What the widget is built from. The actions' `appMenu` adds the tray menu's entries, so that the
// widget's menu is the tray's.
struct WidgetContext {
    SessionStore& store;
    AppSettings& settings;
    // The requests whose rows show answer buttons.
    PermissionRequests& requests;
    WidgetActions actions;
};

using WidgetFactory = std::function<std::unique_ptr<WidgetHost>(const WidgetContext&)>;

} // namespace ostrelvan
