#include "app/shell/AppRestarter.h"

#include "app/services/Log.h"
#include "app/services/ProcessLauncher.h"

namespace ostrelvan {

AppRestarter::AppRestarter(Launcher launch, std::function<void()> quit, Process self)
    : launch_(std::move(launch)), quit_(std::move(quit)), self_(std::move(self)) {}

bool AppRestarter::restart() {
    const Command command = Relaunch::command(self_.pid, self_.executable, self_.arguments);
    std::string error;
    if (!launch_(command, error)) {
        qCWarning(appLog, "restart failed: %s", error.c_str());
        return false;
    }
    qCInfo(appLog, "restarting");
    quit_();
    return true;
}

AppRestarter::Launcher AppRestarter::detachedLauncher() {
    return [](const Command& command, std::string& error) {
        return ProcessLauncher::startDetached(command, ProcessLauncher::Output::inherited, error);
    };
}

} // namespace ostrelvan
