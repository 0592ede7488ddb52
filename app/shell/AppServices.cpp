#include "app/shell/AppServices.h"

#include "app/integration/HelperInstaller.h"
#include "app/platform/SystemSound.h"
#include "app/services/Log.h"

#include <QCoreApplication>

namespace ostrelvan {

AppServices AppServices::live(const UserFolders& folders) {
    AppServices services;
    services.environment = folders.environment();
    services.home = folders.home();
    services.process.executable = QCoreApplication::applicationFilePath().toStdString();
    const QStringList arguments = QCoreApplication::arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        services.process.arguments.push_back(arguments[i].toStdString());
    }
    services.process.pid = QCoreApplication::applicationPid();
    services.bundledHelper =
        HelperInstaller::bundledHelper(QCoreApplication::applicationDirPath().toStdString());
    services.bundleInfo = BundleInfos::main();
    services.makeUpdateService = UpdateServices::make;
    services.playSound = [](SoundPlayer::Cue cue) {
        if (const auto why = SystemSound::play(cue)) {
            qCInfo(appLog, "sound not played: %s", why->c_str());
        }
    };
    services.startDetached = AppRestarter::detachedStart();
    services.quit = [] { QCoreApplication::quit(); };
    return services;
}

} // namespace ostrelvan
