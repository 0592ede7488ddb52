#include "app/integration/HookConnection.h"

#include "app/integration/HelperInstaller.h"

namespace ostrelvan::HookConnection {

namespace fs = std::filesystem;

ConnectReport connect(const HookPaths& paths) {
    ConnectReport report;
    report.helperExisted = fs::exists(paths.helper);
    report.helperChanged = HelperInstaller::refresh(paths.bundledHelper, paths.helper);
    report.settingsWrite =
        HookInstaller::update(paths.settingsFile, [&](const HookInstaller::Settings& settings) {
            return HookInstaller::installing(settings, paths.helper.string());
        });
    return report;
}

std::optional<HookInstaller::SettingsWrite> disconnect(const HookPaths& paths) {
    return HookInstaller::disconnect(paths.settingsFile, paths.helper.string());
}

HookHealth health(const HookPaths& paths) {
    HookInstaller::Settings settings;
    try {
        settings = HookInstaller::readSettings(paths.settingsFile);
    } catch (const std::exception&) {
        return HookHealth::unreadable;
    }
    if (HookInstaller::isInstalled(settings, paths.helper.string()))
        return HookHealth::intact;
    return HookInstaller::removing(settings, paths.helper.string()) == settings
               ? HookHealth::missing
               : HookHealth::broken;
}

} // namespace ostrelvan::HookConnection
