#include "app/shell/AppRestarter.h"

#include "app/services/Log.h"

#include <QProcess>

namespace ostrelvan {

AppRestarter::AppRestarter(Launcher launch, std::function<void()> quit, Process self)
    : launch_(std::move(launch)), quit_(std::move(quit)), self_(std::move(self)) {}

bool AppRestarter::restart() {
    const LaunchCommand command = Relaunch::command(self_.pid, self_.executable, self_.arguments);
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
    return [](const LaunchCommand& command, std::string& error) {
        QProcess process;
        process.setProgram(QString::fromStdString(command.program));
        QStringList arguments;
        for (const auto& argument : command.arguments) {
            arguments << QString::fromStdString(argument);
        }
        process.setArguments(arguments);
        process.setStandardInputFile(QProcess::nullDevice());
        if (!process.startDetached()) {
            error = process.errorString().toStdString();
            return false;
        }
        return true;
    };
}

} // namespace ostrelvan
