#pragma once

#include "app/integration/HookConnection.h"
#include "app/services/AppSettings.h"
#include "app/services/PermissionRequests.h"
#include "app/shell/AppRestarter.h"
#include "app/shell/AppServices.h"
#include "app/shell/AppUpdater.h"
#include "app/shell/LaunchMode.h"
#include "app/shell/MenuBarContent.h"
#include "app/shell/PermissionNotifier.h"
#include "app/shell/SoundPlayer.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/KeyValueStore.h"
#include "app/store/SessionStore.h"
#include "app/store/UserFolders.h"
#include "app/widget/WidgetHost.h"

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QMenu;

namespace ostrelvan {

class SettingsWindowController;

// The application's root: owns every long-lived part and wires them together. Building it
// starts nothing; start() does, as the launch mode says. Main thread only.
class AppState : public QObject {
    Q_OBJECT
public:
    AppState(LaunchMode mode, KeyValueStore& defaults, AppServices services,
             QObject* parent = nullptr);
    ~AppState() override;

    const LaunchMode& mode() const { return mode_; }
    AppSettings& settings() { return settings_; }
    SessionStore& store() { return store_; }
    AcknowledgedStore& acknowledged() { return acknowledged_; }
    AppUpdater& updater() { return updater_; }
    SoundPlayer& sounds() { return sounds_; }
    PermissionRequests& requests() { return requests_; }
    // The last connect or disconnect failure, until one succeeds.
    const std::optional<std::string>& hookError() const { return hookError_; }
    bool launchAtLogin() const { return launchAtLogin_; }
    WidgetHost* widget() const { return widget_.get(); }
    SettingsWindowController* settingsWindow() const { return settingsWindow_.get(); }
    const std::filesystem::path& settingsURL() const { return hookPaths_.settingsFile; }
    const std::filesystem::path& helperURL() const { return hookPaths_.helper; }

    // The widget's five actions, quitting, and the tray menu's entries for the widget's menu.
    WidgetActions actions();
    // What the tray menu shows now.
    MenuBarState menuBarState() const;

    // Normal mode, in this order: refresh the helper, repair the hook entries, send transitions
    // to the sounds, start the store, show the widget, start the updater. Tests mode: nothing.
    void start();

    void connectHooks();
    void disconnectHooks();
    void setLaunchAtLogin(bool enabled);
    void openSettings();
    void restart();
    void quit();
    // `requestId` is the request an answer entry answers.
    void perform(MenuCommand command, const std::string& requestId = {});
    void answer(const std::string& requestId, PermissionChoice choice);
    // Another start of the app asked for the panel.
    void presentWidget();

signals:
    void hookErrorChanged();
    void launchAtLoginChanged();

private:
    void setHooksConnected(bool connected);
    void setHookError(std::optional<std::string> error);
    void refreshHelper();
    void repairHooksIfNeeded();
    void playSoundFor(const SessionTransition& transition);
    void startAnswering();

    AppServices services_;
    UserFolders folders_;
    std::optional<std::string> hookError_;
    bool launchAtLogin_ = false;
    SoundPlayer sounds_;
    HookPaths hookPaths_;
    LaunchMode mode_;
    AppSettings settings_;
    AcknowledgedStore acknowledged_;
    SessionStore store_;
    PermissionRequests requests_;
    std::unique_ptr<PermissionNotifier> notifier_;
    AppUpdater updater_;
    AppRestarter restarter_;
    std::unique_ptr<WidgetHost> widget_;
    std::unique_ptr<SettingsWindowController> settingsWindow_;
};

} // namespace ostrelvan
