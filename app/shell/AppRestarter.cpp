#include "app/shell/AppRestarter.h"

#include "app/services/Log.h"
#include "app/services/QtProcessStarter.h"

namespace ostrelvan {

AppRestarter::AppRestarter(DetachedStart start, std::function<void()> quit, Process self)
    : start_(std::move(start)), quit_(std::move(quit)), self_(std::move(self)) {}

bool AppRestarter::restart() {
    const Command command = Relaunch::command(self_.pid, self_.executable, self_.arguments);
    std::string error;
    if (!start_(command, error)) {
        qCWarning(appLog, "restart failed: %s", error.c_str());
        return false;
    }
    qCInfo(appLog, "restarting");
    quit_();
    return true;
}

AppRestarter::DetachedStart AppRestarter::detachedStart() {
    return [](const Command& command, std::string& error) {
        return QtProcessStarter::startDetached(command, QtProcessStarter::Output::inherited, error);
    };
}

} // namespace ostrelvan
