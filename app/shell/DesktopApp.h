#pragma once

#include "app/store/UserFolders.h"
#include "app/widget/WidgetHost.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

class QApplication;

namespace ostrelvan {

// What the desktop executable brings that the shell does not make itself.
struct DesktopParts {
    WidgetFactory makeWidget;
    // With the X server time of the user's click, when there is one.
    std::function<void(const DisplayedSession&, std::optional<std::uint32_t> userTime)> openSession;
    std::function<void(const DisplayedSession&)> showInFinder;
    std::function<void(const std::string& target)> showDesignPreview;
};

// Runs the app in the application object that main() made, and returns main's exit status:
// 0 at once when another instance for this user and data folder is running (it is asked to
// show its panel). Otherwise: the user's settings, the application state, the tray item
// and start-up as the launch mode says, then the event loop. `folders` are this user's, as
// UserFolders::settle() accepted them.
int runDesktopApp(QApplication& application, const UserFolders& folders, DesktopParts parts);

} // namespace ostrelvan
