#pragma once

#include "app/services/PendingRequest.h"
#include "app/store/DisplayedSession.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

class QMenu;

namespace ostrelvan {

// What the widget asks of the application. The widget only calls these; the application decides
// what each one does. `open` also carries the X server time of the user's click when there is one,
// so that the window manager lets the session's window come to the front.
struct WidgetActions {
    std::function<void(const DisplayedSession&, std::optional<std::uint32_t> userTime)> open;
    std::function<void(const DisplayedSession&)> showInFinder;
    std::function<void()> connect;
    std::function<void()> restart;
    std::function<void()> openSettings;
    // Not one of the application's five: quitting is the same everywhere. Unset, the widget menu
    // quits the Qt application itself.
    std::function<void()> quit;
    // Adds the application's menu, the very entries of the tray's, in place of the widget's own
    // three: one menu, in one order, wherever it opens. Unset, the widget offers its own.
    std::function<void(QMenu&)> appMenu;
    // The user's answer to the waiting permission request with this id.
    std::function<void(const std::string& requestId, PermissionChoice)> answer;
};

} // namespace ostrelvan
