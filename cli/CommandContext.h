#pragma once

#include "app/services/AppSettings.h"
#include "app/store/UserFolders.h"
#include "base/Environment.h"
#include "core/SessionState.h"

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

namespace ostrelvan::cli {

// What every subcommand of the `ostrelvan` front end gets: the environment it runs in, where
// the bundled hook helper lies, the user's settings, and where to speak.
struct CommandContext {
    Environment environment;
    std::filesystem::path home;
    std::filesystem::path executableDirectory; // holds the built ostrelvan-hook
    AppSettings& settings;
    std::ostream& out;
    std::ostream& err;
    // The tmux pane ("%<number>") a session's agent runs in, when that can be known.
    std::function<std::optional<std::string>(const SessionState&)> tmuxPane;

    UserFolders folders() const { return {environment, home}; }
};

} // namespace ostrelvan::cli
