#include "DesktopApp.h"

#include "AppServices.h"
#include "AppState.h"
#include "LaunchMode.h"
#include "Log.h"
#include "MenuBarMenu.h"
#include "SettingsKeyValueStore.h"
#include "SingleInstance.h"
#include "TrayIcon.h"

#include <QApplication>

namespace ostrelvan {

namespace {

const char* describe(QSettings::Status status) {
    return status == QSettings::FormatError ? "it is not a well-formed settings file"
                                            : "it cannot be read";
}

// Settings that cannot be read or written never stop the app: it runs on the defaults, or on
// values that last until it quits, and says so once.
void watchSettingsFile(SettingsKeyValueStore& defaults, AppSettings& settings) {
    QSettings& file = defaults.settings();
    if (file.status() != QSettings::NoError) {
        qCWarning(appLog, "the settings file %s was not read, %s; the defaults are used",
                  qPrintable(file.fileName()), describe(file.status()));
    }
    auto reported = std::make_shared<bool>(false);
    QObject::connect(&settings, &AppSettings::changed, &settings, [&file, reported] {
        if (file.status() == QSettings::AccessError && !*reported) {
            *reported = true;
            qCWarning(appLog,
                      "cannot write the settings file %s; changes last until Ostrelvan "
                      "quits",
                      qPrintable(file.fileName()));
        }
    });
}

std::vector<std::string> argumentsOf(const QApplication& application) {
    std::vector<std::string> arguments;
    for (const QString& argument : application.arguments()) {
        arguments.push_back(argument.toStdString());
    }
    return arguments;
}

} // namespace

int runDesktopApp(QApplication& application, DesktopParts parts) {
    // The app lives in the tray: closing the settings window must not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    AppServices services = AppServices::live();
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
    AppState state(mode, defaults, std::move(services));
    watchSettingsFile(defaults, state.settings());
    TrayIcon tray(state);
    if (!tray.isAvailable()) {
        state.setAppMenu([&state](QMenu& menu) { MenuBarMenu::fill(menu, state); });
    }
    QObject::connect(&instance, &SingleInstance::openPinnedRequested, &state,
                     &AppState::openWidgetPinned);
    state.start();
    return application.exec();
}

} // namespace ostrelvan
