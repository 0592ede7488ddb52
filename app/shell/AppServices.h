#pragma once

#include "app/platform/BundleInfo.h"
#include "app/shell/AppRestarter.h"
#include "app/shell/AppUpdater.h"
#include "app/shell/SoundPlayer.h"
#include "app/store/UserFolders.h"
#include "app/widget/WidgetHost.h"
#include "base/Environment.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace ostrelvan {

// What the application state takes from the machine it runs on. live() describes this process;
// tests start from it and replace what they must (folders, the sound, the process starter).
// An empty function means the thing is not available, and its action only logs.
struct AppServices {
    Environment environment;
    std::filesystem::path home;
    AppRestarter::Process process;                      // this executable, its arguments, its pid
    std::optional<std::filesystem::path> bundledHelper; // the helper shipped beside it
    BundleInfo bundleInfo;
    AppUpdater::ServiceFactory makeUpdateService;
    SoundPlayer::Play playSound;
    SoundPlayer::Clock soundClock = wallClockNow;
    AppRestarter::DetachedStart startDetached;
    std::function<void()> quit;
    WidgetFactory makeWidget;
    // With the X server time of the user's click, when there is one.
    std::function<void(const DisplayedSession&, std::optional<std::uint32_t> userTime)> openSession;
    std::function<void(const DisplayedSession&)> showInFinder;
    std::function<void(const std::string& target)> showDesignPreview;

    // Needs the application object.
    static AppServices live(const UserFolders& folders);
};

} // namespace ostrelvan
