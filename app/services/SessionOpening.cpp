#include "app/services/SessionOpening.h"

#include "app/platform/FileManager.h"
#include "app/platform/Workspace.h"
#include "app/services/Log.h"
#include "app/services/TmuxClient.h"
#include "app/services/TmuxPane.h"
#include "base/FileSystem.h"
#include "base/ProcessTable.h"
#include "core/ClaudeRegistry.h"

#include <QLoggingCategory>
#include <algorithm>
#include <nlohmann/json.hpp>

namespace ostrelvan {

namespace {

std::optional<std::string> readRegistryTmux(const std::filesystem::path& sessions,
                                            std::int32_t pid) {
    const auto text = FileSystem::readRegularFile(sessions / (std::to_string(pid) + ".json"));
    if (!text)
        return std::nullopt;
    const auto record = nlohmann::json::parse(*text, nullptr, false);
    if (!record.is_object())
        return std::nullopt;
    const auto recordPid = record.find("pid");
    const auto tmux = record.find("tmux");
    if (recordPid == record.end() || !recordPid->is_number_integer() || *recordPid != pid ||
        tmux == record.end() || !tmux->is_string())
        return std::nullopt;
    return tmux->get<std::string>();
}

} // namespace

SessionOpening::Machine SessionOpening::Machine::live(const std::filesystem::path& claudeConfig,
                                                      const Environment& environment) {
    return {
        [environment](const std::string& folder) {
            return Workspace::openInVSCode(folder, environment);
        },
        ProcessTable::environment,
        [](std::int32_t pid) -> std::optional<std::int32_t> {
            const auto process = ProcessTable::info(pid);
            return process ? std::optional(process->parent) : std::nullopt;
        },
        [sessions = ClaudeRegistry::sessionsDirectory(claudeConfig)](std::int32_t pid) {
            return readRegistryTmux(sessions, pid);
        },
        WindowActivation::activate,
        FileManager::showItem,
        Workspace::openURL,
        Workspace::openFolder,
        Workspace::activateApplication,
        Workspace::findsTerminalWindows(),
    };
}

std::optional<TmuxPane> SessionOpening::Machine::tmuxPane(std::int32_t pid) const {
    if (environment)
        if (const auto variables = environment(pid))
            if (auto pane = TmuxPane::fromEnvironment(*variables))
                return pane;
    if (registryTmux)
        if (const auto field = registryTmux(pid))
            return TmuxPane::fromRegistry(*field);
    return std::nullopt;
}

SessionOpening::SessionOpening(ProcessStarter& starter, Machine machine)
    : starter_(starter), machine_(std::move(machine)) {}

void SessionOpening::open(const SessionState& session, std::optional<std::uint32_t> userTime,
                          Done done) {
    if (!done)
        done = [] {};
    const std::string& folder = session.folder();
    const auto vscode = machine_.openInVSCode(folder);
    const auto action = SessionOpener::action(session, vscode.has_value());
    switch (action.kind) {
    case SessionOpener::ActionKind::openVSCodeSession:
        startVSCode(*vscode);
        // The link carries the id only, not the record, which may be gone by then.
        starter_.after(SessionOpener::sessionLinkDelay,
                       [this, url = SessionOpener::sessionURL(session.sessionId), done] {
                           starter_.start(machine_.openURL(url));
                           done();
                       });
        return;
    case SessionOpener::ActionKind::openVSCodeTerminal:
        startVSCode(*vscode);
        done();
        return;
    case SessionOpener::ActionKind::activateApplication:
    case SessionOpener::ActionKind::revealInFinder:
        break;
    }
    if (session.host != SessionHost::terminal || !machine_.findsTerminalWindows) {
        bringForward(action, folder, userTime, std::move(done));
        return;
    }
    goToTerminal(session, userTime, [this, action, folder, userTime, done](bool reached) {
        if (reached) {
            done();
        } else {
            qCInfo(uiLog, "no terminal window found for the session in %s", folder.c_str());
            bringForward(action, folder, userTime, done);
        }
    });
}

void SessionOpening::showInFileManager(const std::string& folder,
                                       std::optional<std::uint32_t> userTime, Done done) {
    machine_.showInFileManager(
        folder, userTime, [this, folder, done = std::move(done)](bool shown) {
            if (!shown) {
                qCInfo(uiLog, "no file manager answered over D-Bus; opening %s", folder.c_str());
                starter_.start(machine_.openFolder(folder));
            }
            if (done)
                done();
        });
}

void SessionOpening::startVSCode(const Command& command) {
    if (!starter_.start(command))
        qCCritical(uiLog, "open folder in VS Code failed: %s could not be started",
                   command.front().c_str());
}

// tmux first, so that the window comes up on the right pane; then the window of the terminal
// that shows it. Reached when a window was brought forward, or at least the pane is on the
// screen of an attached tmux client whose window cannot be seen from here (a Wayland terminal).
void SessionOpening::goToTerminal(const SessionState& session,
                                  std::optional<std::uint32_t> userTime,
                                  std::function<void(bool reached)> then) {
    if (!session.pid) {
        then(false);
        return;
    }
    const std::int32_t pid = *session.pid;
    const auto pane = machine_.tmuxPane(pid);
    if (!pane) {
        then(activateWindowOf(pid, userTime));
        return;
    }
    starter_.run(pane->listClients(), [this, pane = *pane, userTime, then = std::move(then)](
                                          const ProcessStarter::Result& clients) {
        const auto client =
            clients.succeeded() ? TmuxClient::mostRecent(clients.output) : std::nullopt;
        starter_.run(pane.select(client ? std::optional(client->tty) : std::nullopt),
                     [this, pane, client, userTime, then](const ProcessStarter::Result& selected) {
                         if (!selected.succeeded())
                             qCInfo(uiLog, "tmux could not select pane %s", pane.pane.c_str());
                         // Without an attached client the pane is on no screen: the agent's
                         // own parents end at the tmux server, which has no window.
                         then(client &&
                              (activateWindowOf(client->pid, userTime) || selected.succeeded()));
                     });
    });
}

bool SessionOpening::activateWindowOf(std::int32_t pid, std::optional<std::uint32_t> userTime) {
    switch (machine_.activateWindow(chain(pid), userTime)) {
    case WindowActivation::Outcome::activated:
        return true;
    case WindowActivation::Outcome::noWindow:
        return false;
    case WindowActivation::Outcome::unavailable:
        qCInfo(uiLog, "no X11 display to bring a terminal window forward on");
        return false;
    }
    return false;
}

void SessionOpening::bringForward(const SessionOpener::Action& action, const std::string& folder,
                                  std::optional<std::uint32_t> userTime, Done done) {
    const auto activate = action.kind == SessionOpener::ActionKind::activateApplication
                              ? machine_.activateApplication(action.bundleId)
                              : std::nullopt;
    if (!activate) {
        showInFileManager(folder, userTime, std::move(done));
        return;
    }
    starter_.run(*activate, [this, folder, userTime, done](const ProcessStarter::Result& result) {
        if (result.succeeded())
            done();
        else
            showInFileManager(folder, userTime, done);
    });
}

// The process and its parents, nearest first, up to (not including) the init process.
std::vector<std::int32_t> SessionOpening::chain(std::int32_t pid) const {
    std::vector<std::int32_t> result;
    for (std::optional<std::int32_t> next = pid; next && *next > 1 && result.size() < maxChain;
         next = machine_.parent(*next)) {
        if (std::find(result.begin(), result.end(), *next) != result.end())
            break;
        result.push_back(*next);
    }
    return result;
}

} // namespace ostrelvan
