#pragma once

#include "DisplayedSession.h"

#include <functional>

namespace ostrelvan {

// What the widget asks the application to do, field for field the widget's WidgetActions: open a
// session, show its folder, connect the hooks, restart, open the settings. Each holds the
// application state weakly and does nothing once it is gone.
struct AppActions {
    std::function<void(const DisplayedSession&)> open;
    std::function<void(const DisplayedSession&)> showInFinder;
    std::function<void()> connect;
    std::function<void()> restart;
    std::function<void()> openSettings;
};

} // namespace ostrelvan
