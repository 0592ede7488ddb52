#include "app/discovery/ClaudeSystem.h"

#include "app/discovery/FileDecodeCache.h"
#include "app/discovery/TranscriptReader.h"
#include "base/ProcessHandle.h"
#include "base/ProcessTable.h"
#include "core/ClaudeRegistry.h"

#include <memory>
#include <unordered_map>

namespace ostrelvan {

namespace {

// What the latest liveness check learnt: every inspected process's parent, and a handle on each
// live one, whose process record then need not be read again while the handle says it runs (its
// start time cannot change, and its pid cannot be reused before it exits).
struct Memo {
    struct Held {
        ProcessHandle handle;
        ProcessInfo info;
    };
    // Each handle is a descriptor: past this many, records are read every time.
    static constexpr std::size_t maxHeld = 512;

    std::unordered_map<std::int32_t, std::int32_t> parents;
    std::unordered_map<std::int32_t, Held> held;
};

std::optional<ProcessInfo> lookUp(std::int32_t pid, Memo& previous, Memo& next,
                                  const ClaudeSystem::ProcessReader& readProcess) {
    if (const auto it = next.held.find(pid); it != next.held.end()) {
        return it->second.info;
    }
    if (const auto it = previous.held.find(pid);
        it != previous.held.end() && !it->second.handle.hasExited()) {
        return next.held.insert_or_assign(pid, std::move(it->second)).first->second.info;
    }
    // Opened before the read: if the process still runs after it, the record read is its own.
    auto handle = next.held.size() < Memo::maxHeld ? ProcessHandle::open(pid) : ProcessHandle{};
    auto process = readProcess(pid);
    if (process && !process->zombie && handle.isValid() && !handle.hasExited()) {
        next.held.insert_or_assign(pid, Memo::Held{std::move(handle), *process});
    }
    return process;
}

// The liveness filter; with a memo, it reads only the processes not known to run since the
// previous call, and replaces the memo.
std::vector<ClaudeProcess> keepLive(const std::vector<ClaudeProcess>& records, Memo* memo,
                                    const ClaudeSystem::ProcessReader& readProcess) {
    Memo next;
    std::vector<ClaudeProcess> result;
    for (const ClaudeProcess& record : records) {
        // A readable process record proves the process exists; kill is asked only without one.
        const auto process =
            memo ? lookUp(record.pid, *memo, next, readProcess) : readProcess(record.pid);
        if (!process && !ProcessTable::exists(record.pid)) {
            continue;
        }
        // A process that cannot be inspected is trusted on kill alone.
        if (process && process->pid == record.pid) {
            next.parents.insert_or_assign(process->pid, process->parent);
            if (process->zombie || std::chrono::abs(record.startedAt - process->startedAt) >=
                                       ClaudeSystem::startTolerance) {
                continue;
            }
        }
        result.push_back(record);
    }
    if (memo) {
        *memo = std::move(next);
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

ClaudeSystem ClaudeSystem::live(const std::filesystem::path& home, const Environment& environment,
                                const ProcessReader& readProcess) {
    const auto config = ClaudeRegistry::configDirectory(home, environment);
    const auto registry = ClaudeRegistry::sessionsDirectory(config);
    auto reader = std::make_shared<TranscriptReader>(config, wallClockNow);
    // A reload asks for the parent of every live agent right after the liveness check, which has
    // just read (or still holds) each one's process record.
    auto memo = std::make_shared<Memo>();
    // Records mostly stay as they are between reloads.
    auto records = std::make_shared<FileDecodeCache<ClaudeProcess>>(ClaudeRegistry::decode);
    return ClaudeSystem{
        [registry, memo, records, reader, readProcess] {
            // A reload starts here and then asks for the transcript of every session it lists:
            // those not asked for during the previous reload are no longer listed.
            reader->prune();
            auto loaded = ClaudeRegistry::loadRecords(
                registry,
                [&records](const std::filesystem::path& path) { return records->read(path); });
            records->prune();
            return keepLive(loaded, memo.get(), readProcess);
        },
        [memo, readProcess](std::int32_t pid) -> std::optional<std::int32_t> {
            if (const auto it = memo->parents.find(pid); it != memo->parents.end()) {
                return it->second;
            }
            if (auto process = readProcess(pid)) {
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
    return keepLive(records, nullptr, ProcessTable::info);
}

} // namespace ostrelvan
