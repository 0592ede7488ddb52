#pragma once

#include "app/discovery/ClaudeSystem.h"
#include "base/Environment.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan {

// The folders this user's sessions and settings live in, all worked out from one environment:
// HOME, OSTRELVAN_DATA_DIR (the data root) and CLAUDE_CONFIG_DIR (Claude Code's folder). Every
// program that reads sessions or connects hooks starts here, so that they all agree.
class UserFolders {
public:
    // Why the environment cannot be used, in one line; none when it can. Fills in HOME from the
    // user database when it is unset or empty, as a login would have. A relative value would put
    // session files and settings under whatever folder the program was started from, and a "~"
    // is only expanded by a shell, so both are refused rather than guessed at.
    static std::optional<std::string> settle(Environment& environment);

    // Over an environment settle() accepted, with `home` its HOME.
    UserFolders(Environment environment, std::filesystem::path home);
    // The same with HOME taken from the environment.
    explicit UserFolders(const Environment& environment);

    const Environment& environment() const { return environment_; }
    const std::filesystem::path& home() const { return home_; }

    std::filesystem::path dataRoot() const;
    std::filesystem::path sessions() const;
    // The installed hook helper, absolute: hook commands run from whatever folder Claude Code is
    // in.
    std::filesystem::path helper() const;
    std::filesystem::path claudeConfig() const;
    // Claude Code's settings file, which holds the hook entries.
    std::filesystem::path claudeSettings() const;
    // Claude Code's registry of running agents.
    std::filesystem::path claudeRegistry() const;
    // The folders whose sessions are Claude Code's own work rather than the user's.
    std::vector<std::filesystem::path> claudeOwnFolders() const;
    // Claude Code on this machine, as these folders show it.
    ClaudeSystem liveSystem() const;

private:
    Environment environment_;
    std::filesystem::path home_;
};

} // namespace ostrelvan
