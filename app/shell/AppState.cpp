#include "app/shell/AppState.h"

#include "app/integration/HelperInstaller.h"
#include "app/integration/HookInstaller.h"
#include "app/platform/LaunchAtLogin.h"
#include "app/services/Log.h"
#include "app/shell/MenuBarMenu.h"
#include "app/shell/SettingsWindowController.h"
#include "app/store/LiveSessionStore.h"
#include "base/FileSystem.h"
#include "core/ClaudeRegistry.h"
#include "core/DataPaths.h"

#include <QPointer>

namespace ostrelvan {

namespace {

// The same files `ostrelvan connect` works on.
HookPaths hookPathsOf(const UserFolders& folders, const AppServices& services) {
    return {folders.claudeSettings(), folders.helper(), services.bundledHelper};
}

bool readLaunchAtLogin(const AppServices& services) {
    return LaunchAtLogin::isEnabled(services.environment);
}

} // namespace

AppState::AppState(LaunchMode mode, KeyValueStore& defaults, AppServices services, QObject* parent)
    : QObject(parent), services_(std::move(services)),
      folders_(services_.environment, services_.home), launchAtLogin_(readLaunchAtLogin(services_)),
      sounds_(services_.soundClock,
              [this](SoundPlayer::Cue cue) {
                  if (services_.playSound) {
                      services_.playSound(cue);
                  }
              }),
      hookPaths_(hookPathsOf(folders_, services_)), mode_(std::move(mode)), settings_(defaults),
      acknowledged_(defaults),
      store_(LiveSessionStore::make(folders_, acknowledged_,
                                    mode_.kind == LaunchMode::Kind::normal ? folders_.liveSystem()
                                                                           : ClaudeSystem::none(),
                                    [this] { return seconds(settings_.reviewFade()); })),
      requests_(DataPaths::permissionSocket(folders_.dataRoot()),
                [sessions = folders_.claudeRegistry()] { return ClaudeRegistry::load(sessions); }),
      updater_(services_.bundleInfo, mode_.kind == LaunchMode::Kind::normal,
               services_.makeUpdateService),
      restarter_(
          [this](const Command& command, std::string& error) {
              if (!services_.startDetached) {
                  error = "this build cannot start processes";
                  return false;
              }
              return services_.startDetached(command, error);
          },
          [this] { quit(); }, services_.process) {}

AppState::~AppState() = default;

void AppState::start() {
    switch (mode_.kind) {
    case LaunchMode::Kind::tests:
        return;
    case LaunchMode::Kind::designPreview:
        qCInfo(appLog, "design preview \"%s\"", mode_.target.c_str());
        if (services_.showDesignPreview) {
            services_.showDesignPreview(mode_.target);
        }
        return;
    case LaunchMode::Kind::normal:
        break;
    }
    refreshHelper();
    repairHooksIfNeeded();
    QPointer<AppState> self(this);
    store_.onTransition = [self](const SessionTransition& transition) {
        if (self) {
            self->playSoundFor(transition);
        }
    };
    store_.start();
    startAnswering();
    if (services_.makeWidget) {
        widget_ = services_.makeWidget({store_, settings_, requests_, actions()});
    }
    if (widget_) {
        widget_->show();
    } else {
        qCWarning(uiLog, "no widget in this build");
    }
    updater_.start();
}

void AppState::startAnswering() {
    connect(&store_, &SessionStore::sessionsChanged, &requests_,
            [this] { requests_.checkSessions(store_.sessions()); });
    notifier_ = std::make_unique<PermissionNotifier>(requests_, sounds_.startedAt());
    const auto follow = [this] {
        // The socket lives in the data root, which only this user may enter.
        std::error_code ignored;
        FileSystem::createPrivateDirectories(folders_.dataRoot(), ignored);
        requests_.setEnabled(settings_.answersRequests());
    };
    connect(&settings_, &AppSettings::changed, &requests_, follow);
    follow();
}

void AppState::answer(const std::string& requestId, PermissionChoice choice) {
    requests_.answer(requestId, choice);
}

void AppState::refreshHelper() {
    try {
        HelperInstaller::refresh(hookPaths_.bundledHelper, hookPaths_.helper);
    } catch (const std::exception& error) {
        qCWarning(hooksLog, "helper refresh failed: %s", error.what());
    }
}

// Claude Code's settings are read only for a user who connected; one that cannot be read is
// left alone, silently, as it would be by a reader that cannot tell what is in it.
void AppState::repairHooksIfNeeded() {
    if (!settings_.hooksConnected()) {
        return;
    }
    HookInstaller::Settings current;
    try {
        current = HookInstaller::readSettings(hookPaths_.settingsFile);
    } catch (const std::exception&) {
        return;
    }
    if (!HookInstaller::isInstalled(current, hookPaths_.helper.string())) {
        qCInfo(hooksLog, "repairing hook entries");
        connectHooks();
    }
}

void AppState::playSoundFor(const SessionTransition& transition) {
    if (sounds_.handle(transition.to, settings_.soundsEnabled())) {
        const auto name = toString(transition.to);
        qCInfo(appLog, "sound for %.*s", int(name.size()), name.data());
    }
}

void AppState::setHookError(std::optional<std::string> error) {
    if (hookError_ != error) {
        hookError_ = std::move(error);
        emit hookErrorChanged();
    }
}

void AppState::connectHooks() {
    setHooksConnected(true);
}

void AppState::disconnectHooks() {
    setHooksConnected(false);
}

// The settings follow only a change that went through; a failure is shown where the connection is.
void AppState::setHooksConnected(bool connected) {
    const char* verb = connected ? "connect" : "disconnect";
    try {
        if (connected)
            HookConnection::connect(hookPaths_);
        else
            HookConnection::disconnect(hookPaths_);
    } catch (const std::exception& error) {
        setHookError(error.what());
        qCWarning(hooksLog, "%s failed: %s", verb, error.what());
        return;
    }
    settings_.setHooksConnected(connected);
    setHookError(std::nullopt);
    qCInfo(hooksLog, connected ? "connected" : "disconnected");
}

// The toggle shows what the system says afterwards, also when it refused.
void AppState::setLaunchAtLogin(bool enabled) {
    try {
        LaunchAtLogin::set(enabled, services_.environment, services_.process.executable);
    } catch (const std::exception& error) {
        qCWarning(appLog, "launch at login failed: %s", error.what());
    }
    const bool now = readLaunchAtLogin(services_);
    if (now != launchAtLogin_) {
        launchAtLogin_ = now;
        emit launchAtLoginChanged();
    }
}

void AppState::openSettings() {
    if (!settingsWindow_) {
        QPointer<AppState> self(this);
        settingsWindow_ = std::make_unique<SettingsWindowController>(
            settings_,
            [self] {
                if (self) {
                    self->store_.reload();
                }
            },
            [self](bool visible) {
                if (self && self->widget_) {
                    self->widget_->setPinnedOpen(visible);
                }
            });
    }
    settingsWindow_->show();
}

void AppState::restart() {
    restarter_.restart();
}

void AppState::quit() {
    if (services_.quit) {
        services_.quit();
    }
}

void AppState::presentWidget() {
    if (widget_) {
        widget_->present();
    }
}

WidgetActions AppState::actions() {
    QPointer<AppState> self(this);
    return {
        [self](const DisplayedSession& row, std::optional<std::uint32_t> userTime) {
            if (!self) {
                return;
            }
            // The reload replaces the list the row may live in.
            const DisplayedSession session = row;
            self->acknowledged_.set(session.state.lastEvent, session.id());
            self->store_.reload();
            if (self->widget_) {
                self->widget_->collapse();
            }
            if (self->services_.openSession) {
                self->services_.openSession(session, userTime);
            } else {
                qCInfo(uiLog, "no session opener in this build");
            }
        },
        [self](const DisplayedSession& session) {
            if (self && self->services_.showInFinder) {
                self->services_.showInFinder(session);
            } else if (self) {
                qCInfo(uiLog, "no file manager opener in this build");
            }
        },
        [self] {
            if (self) {
                self->connectHooks();
            }
        },
        [self] {
            if (self) {
                self->restart();
            }
        },
        [self] {
            if (self) {
                self->openSettings();
            }
        },
        [self] {
            if (self) {
                self->quit();
            }
        },
        [self](QMenu& menu) {
            if (self) {
                MenuBarMenu::append(menu, *self);
            }
        },
        [self](const std::string& requestId, PermissionChoice choice) {
            if (self) {
                self->answer(requestId, choice);
            }
        },
    };
}

MenuBarState AppState::menuBarState() const {
    return {settings_.hooksConnected(), hookError_,
            settings_.soundsEnabled(),  launchAtLogin_,
            updater_.isConfigured(),    updater_.versionLine(),
            updater_.canCheckNow(),     requests_.pending()};
}

void AppState::perform(MenuCommand command, const std::string& requestId) {
    switch (command) {
    case MenuCommand::allowRequest:
        answer(requestId, PermissionChoice::allow);
        return;
    case MenuCommand::allowRequestAndAddRule:
        answer(requestId, PermissionChoice::allowAndAddRule);
        return;
    case MenuCommand::denyRequest:
        answer(requestId, PermissionChoice::deny);
        return;
    case MenuCommand::none:
        return;
    case MenuCommand::connect:
        connectHooks();
        return;
    case MenuCommand::disconnect:
        disconnectHooks();
        return;
    case MenuCommand::toggleSounds:
        settings_.setSoundsEnabled(!settings_.soundsEnabled());
        return;
    case MenuCommand::toggleLaunchAtLogin:
        setLaunchAtLogin(!launchAtLogin_);
        return;
    case MenuCommand::openSettings:
        openSettings();
        return;
    case MenuCommand::checkForUpdates:
        updater_.checkForUpdates();
        return;
    case MenuCommand::restart:
        restart();
        return;
    case MenuCommand::quit:
        quit();
        return;
    }
}

} // namespace ostrelvan
