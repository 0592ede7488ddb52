#include "app/integration/HookConnection.h"

#include "app/integration/HelperInstaller.h"

namespace ostrelvan::HookConnection {

namespace fs = std::filesystem;

ConnectReport connect(const HookPaths& paths) {
    ConnectReport report;
    report.helperExisted = fs::exists(paths.helper);
    report.helperChanged = HelperInstaller::refresh(paths.bundledHelper, paths.helper);
    const auto settings = HookInstaller::readSettings(paths.settingsFile);
    const auto installed = HookInstaller::installing(settings, paths.helper.string());
    if (installed != settings)
        report.settingsWrite = HookInstaller::writeSettings(installed, paths.settingsFile);
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
