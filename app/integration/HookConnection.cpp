#include "HookConnection.h"

#include "HelperInstaller.h"

#include <algorithm>

namespace ostrelvan::HookConnection {

namespace fs = std::filesystem;

ConnectReport connect(const HookPaths& paths) {
    ConnectReport report;
    report.helperExisted = fs::exists(paths.helper);
    report.helperChanged = HelperInstaller::refresh(paths.bundledHelper, paths.helper);
    const auto settings = HookInstaller::readSettings(paths.settingsFile);
    report.settingsWrite = HookInstaller::writeSettings(
        HookInstaller::installing(settings, paths.helper.string()), paths.settingsFile);
    return report;
}

std::optional<HookInstaller::SettingsWrite> disconnect(const HookPaths& paths) {
    return HookInstaller::disconnect(paths.settingsFile);
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
    return HookInstaller::removing(settings) == settings ? HookHealth::missing : HookHealth::broken;
}

} // namespace ostrelvan::HookConnection
