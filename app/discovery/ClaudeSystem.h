#pragma once

#include "ClaudeProcess.h"
#include "Environment.h"
#include "SessionState.h"
#include "TranscriptInfo.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace ostrelvan {

// The store's replaceable gateway to the live machine.
struct ClaudeSystem {
    std::function<std::vector<ClaudeProcess>()> processes;
    std::function<std::optional<std::int32_t>(std::int32_t pid)> parent;
    std::function<TranscriptInfo(const SessionState&)> transcript;

    static ClaudeSystem none();
    // The real machine: Claude Code's registry under the config folder, filtered by liveness,
    // and one transcript reader with the wall clock.
    static ClaudeSystem live(const std::filesystem::path& home, const Environment& environment);
};

} // namespace ostrelvan
