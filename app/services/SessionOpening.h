#pragma once

#include "app/platform/Command.h"
#include "app/platform/WindowActivation.h"
#include "app/services/ProcessStarter.h"
#include "app/services/SessionOpener.h"
#include "app/services/TmuxPane.h"
#include "app/store/DisplayedSession.h"
#include "base/Environment.h"
#include "core/SessionState.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan {

// Takes the user to a session: its VS Code window, its terminal (on Linux the very window and
// tmux pane), or its folder in the file manager. Nothing it does blocks, and nothing it meets is
// shown as an error: a missing tool is logged and the next way is tried. Main thread only; it
// must outlive the requests it starts, as must the starter.
class SessionOpening {
public:
    // Called once everything has been asked for, e.g. for a command to exit.
    using Done = std::function<void()>;

    // What the opener asks of the machine besides starting programs; replaced in tests.
    struct Machine {
        std::function<std::optional<Command>(const std::string& folder)> openInVSCode;
        std::function<std::optional<Environment>(std::int32_t pid)> environment;
        std::function<std::optional<std::int32_t>(std::int32_t pid)> parent;
        // The "tmux" field of Claude Code's registry record for the agent.
        std::function<std::optional<std::string>(std::int32_t pid)> registryTmux;
        std::function<WindowActivation::Outcome(const std::vector<std::int32_t>& chain,
                                                std::optional<std::uint32_t> userTime)>
            activateWindow;
        std::function<void(const std::string& folder, std::optional<std::uint32_t> userTime,
                           std::function<void(bool shown)> done)>
            showInFileManager;
        // The desktop's own ways to open things (see Workspace).
        std::function<Command(const std::string& url)> openURL;
        std::function<Command(const std::string& folder)> openFolder;
        std::function<std::optional<Command>(const std::string& bundleId)> activateApplication;
        // Whether a terminal session is sought through its process tree, its tmux pane and the
        // window system before anything else.
        bool findsTerminalWindows = false;

        // The pane from the agent's own environment, else from Claude Code's record of it.
        std::optional<TmuxPane> tmuxPane(std::int32_t pid) const;

        // This machine, with Claude Code's configuration folder `claudeConfig`.
        static Machine live(const std::filesystem::path& claudeConfig,
                            const Environment& environment);
    };

    // The longest chain of parents followed up from an agent.
    static constexpr std::size_t maxChain = 64;

    SessionOpening(ProcessStarter& starter, Machine machine);

    // `userTime` is the window-system time of the click that asked for it (a Qt mouse event's
    // timestamp() on X11), which lets the window manager bring the window forward.
    void open(const SessionState& session, std::optional<std::uint32_t> userTime = {},
              Done done = {});
    void open(const DisplayedSession& session, std::optional<std::uint32_t> userTime = {},
              Done done = {}) {
        open(session.state, userTime, std::move(done));
    }

    // The folder selected in the file manager, else opened by the desktop's handler. The menu
    // entry that asks for it reads Workspace::showInFileManagerTitle().
    void showInFileManager(const std::string& folder, std::optional<std::uint32_t> userTime = {},
                           Done done = {});
    void showInFileManager(const DisplayedSession& session,
                           std::optional<std::uint32_t> userTime = {}, Done done = {}) {
        showInFileManager(session.state.folder(), userTime, std::move(done));
    }

private:
    void startVSCode(const Command& command);
    void goToTerminal(const SessionState& session, std::optional<std::uint32_t> userTime,
                      std::function<void(bool reached)> then);
    bool activateWindowOf(std::int32_t pid, std::optional<std::uint32_t> userTime);
    void bringForward(const SessionOpener::Action& action, const std::string& folder,
                      std::optional<std::uint32_t> userTime, Done done);
    std::vector<std::int32_t> chain(std::int32_t pid) const;

    ProcessStarter& starter_;
    Machine machine_;
};

} // namespace ostrelvan
