#include "ClaudeSystem.h"

#include "ClaudeRegistry.h"
#include "FileDecodeCache.h"
#include "ProcessTable.h"
#include "TranscriptReader.h"

#include <memory>
#include <unordered_map>

namespace ostrelvan {

namespace {

using Parents = std::unordered_map<std::int32_t, std::int32_t>;

// The liveness filter; every process record it reads lands in `seen`, pid to parent.
std::vector<ClaudeProcess> keepLive(const std::vector<ClaudeProcess>& records, Parents* seen) {
    std::vector<ClaudeProcess> result;
    for (const ClaudeProcess& record : records) {
        // A readable process record proves the process exists; kill is asked only without one.
        const auto process = ProcessTable::info(record.pid);
        if (!process && !ProcessTable::exists(record.pid)) {
            continue;
        }
        // A process that cannot be inspected is trusted on kill alone.
        if (process && process->pid == record.pid) {
            if (seen) {
                seen->insert_or_assign(process->pid, process->parent);
            }
            if (process->zombie || std::chrono::abs(record.startedAt - process->startedAt) >=
                                       ClaudeSystem::startTolerance) {
                continue;
            }
        }
        result.push_back(record);
    }
    return result;
}

} // namespace

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
    // The parents of the processes the latest liveness check read: a reload asks for the parent of
    // every live agent right after that check, so a second /proc read per agent is spared.
    auto parents = std::make_shared<Parents>();
    // Records mostly stay as they are between reloads.
    auto records = std::make_shared<FileDecodeCache<ClaudeProcess>>(ClaudeRegistry::decode);
    return ClaudeSystem{
        [registry, parents, records] {
            auto loaded = ClaudeRegistry::loadRecords(
                registry,
                [&records](const std::filesystem::path& path) { return records->read(path); });
            records->prune();
            Parents seen;
            auto result = keepLive(loaded, &seen);
            *parents = std::move(seen);
            return result;
        },
        [parents](std::int32_t pid) -> std::optional<std::int32_t> {
            if (const auto it = parents->find(pid); it != parents->end()) {
                return it->second;
            }
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
    return keepLive(records, nullptr);
}

} // namespace ostrelvan
