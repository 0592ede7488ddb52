#include "ClaudeSystem.h"

#include "ClaudeRegistry.h"
#include "ProcessTable.h"
#include "TranscriptReader.h"

#include <memory>

namespace ostrelvan {

ClaudeSystem ClaudeSystem::none() {
    return ClaudeSystem{
        [] { return std::vector<ClaudeProcess>{}; },
        [](std::int32_t) { return std::optional<std::int32_t>{}; },
        [](const SessionState&) { return TranscriptInfo{}; },
    };
}

ClaudeSystem ClaudeSystem::live(const std::filesystem::path& home, const Environment& environment) {
    const auto config = ClaudeRegistry::configDirectory(home, environment);
    const auto registry = ClaudeRegistry::sessionsDirectory(config);
    auto reader = std::make_shared<TranscriptReader>(config, wallClockNow);
    return ClaudeSystem{
        [registry] { return liveOnly(ClaudeRegistry::load(registry)); },
        [](std::int32_t pid) -> std::optional<std::int32_t> {
            if (auto process = ProcessTable::info(pid)) {
                return process->parent;
            }
            return std::nullopt;
        },
        [reader](const SessionState& state) { return reader->info(state); },
    };
}

ClaudeSystem ClaudeSystem::live(const std::filesystem::path& home) {
    return live(home, processEnvironment());
}

std::vector<ClaudeProcess> ClaudeSystem::liveOnly(const std::vector<ClaudeProcess>& records) {
    std::vector<ClaudeProcess> result;
    for (const ClaudeProcess& record : records) {
        if (!ProcessTable::exists(record.pid)) {
            continue;
        }
        // A process that cannot be inspected is trusted on kill alone.
        const auto process = ProcessTable::info(record.pid);
        if (process && process->pid == record.pid) {
            if (process->zombie ||
                std::chrono::abs(record.startedAt - process->startedAt) >= startTolerance) {
                continue;
            }
        }
        result.push_back(record);
    }
    return result;
}

} // namespace ostrelvan
