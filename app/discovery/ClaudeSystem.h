#pragma once

#include "app/discovery/TranscriptInfo.h"
#include "base/Environment.h"
#include "base/ProcessTable.h"
#include "core/ClaudeProcess.h"
#include "core/SessionState.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace ostrelvan {

// The store's replaceable gateway to the live machine.
struct ClaudeSystem {
    // A record whose process started this far from the record's startedAt belongs to an earlier
    // process whose pid was reused.
    static constexpr std::chrono::seconds startTolerance{120};

    std::function<std::vector<ClaudeProcess>()> processes;
    std::function<std::optional<std::int32_t>(std::int32_t pid)> parent;
    std::function<TranscriptInfo(const SessionState&)> transcript;

    using ProcessReader = std::function<std::optional<ProcessInfo>(std::int32_t pid)>;

    static ClaudeSystem none();
    // The real machine: Claude Code's registry under the config folder, filtered by liveness,
    // and one transcript reader with the wall clock. processes() keeps the decoded records and a
    // handle on each live process for the next call; parent() answers from the records it read.
    // Process records are read through `readProcess`.
    static ClaudeSystem live(const std::filesystem::path& home, const Environment& environment,
                             const ProcessReader& readProcess = ProcessTable::info);
    static ClaudeSystem live(const std::filesystem::path& home);

    // The records whose process is alive (not a zombie) and started within startTolerance of the
    // record's startedAt; pid order kept.
    static std::vector<ClaudeProcess> liveOnly(const std::vector<ClaudeProcess>& records);
};

} // namespace ostrelvan
