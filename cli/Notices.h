#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan::cli {

// What the front end has to say beside the sessions themselves, so that an empty or short list
// is never a silent one.
struct Notices {
    // Connected, and every entry of ours is in Claude Code's settings.
    bool connected = false;
    // Why not, in words, when not; or what else stops sessions from being recorded.
    std::optional<std::string> notice;
    // hook.log, when the helper logged errors after the newest session file was written.
    std::optional<std::filesystem::path> hookErrors;
    // Claude Code sessions running that are not listed because no prompt was given yet.
    std::size_t waitingForPrompt = 0;

    // The connection and hook-log messages, for under a list of sessions.
    std::vector<std::string> warnings() const;
    // What stands in place of an empty list.
    std::vector<std::string> emptyState() const;

    bool operator==(const Notices&) const = default;
};

} // namespace ostrelvan::cli
