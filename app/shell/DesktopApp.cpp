#include "app/shell/DesktopApp.h"

#include "app/services/Log.h"
#include "app/services/SettingsFileCheck.h"
#include "app/shell/AppServices.h"
#include "app/shell/AppState.h"
#include "app/shell/LaunchMode.h"
#include "app/shell/SingleInstance.h"
#include "app/shell/TrayIcon.h"
#include "app/store/SettingsKeyValueStore.h"

#include <QApplication>

namespace ostrelvan {

namespace {

std::vector<std::string> argumentsOf(const QApplication& application) {
    std::vector<std::string> arguments;
    for (const QString& argument : application.arguments()) {
        arguments.push_back(argument.toStdString());
    }
    return arguments;
}

} // namespace

int runDesktopApp(QApplication& application, const UserFolders& folders, DesktopParts parts) {
    // The app lives in the tray: closing the settings window must not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    AppServices services = AppServices::live(folders);
    const LaunchMode mode = LaunchMode::current(argumentsOf(application), services.environment);

    SingleInstance instance(SingleInstance::socketPath(services.environment));
    if (mode.kind == LaunchMode::Kind::normal && !instance.claim()) {
        return 0;
    }

    services.makeWidget = std::move(parts.makeWidget);
    services.openSession = std::move(parts.openSession);
    services.showInFinder = std::move(parts.showInFinder);
    services.showDesignPreview = std::move(parts.showDesignPreview);

    SettingsKeyValueStore defaults;
    // Before anything is written: QSettings would write back only the part it could read.
    SettingsFileCheck::inspect(defaults);
    AppState state(mode, defaults, std::move(services));
    SettingsFileCheck::watchWrites(defaults, state.settings());
    TrayIcon tray(state);
    QObject::connect(&instance, &SingleInstance::presentRequested, &state,
                     &AppState::presentWidget);
    state.start();
    return application.exec();
}

} // namespace ostrelvan
