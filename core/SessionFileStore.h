#pragma once

#include "core/EventContext.h"
#include "core/HookEvent.h"
#include "core/ReduceOutcome.h"
#include "core/SessionState.h"
#include "core/Time.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace ostrelvan {

// One JSON file per session in `directory`, updated read-reduce-write under a per-session flock on
// <id>.lock. A lock file is deleted only by a process that holds it, and every locker checks that
// the file it locked is still the one at the path. Readers take no lock: every write is an atomic
// replace.
class SessionFileStore {
public:
    using StateReader = std::function<std::optional<SessionState>(const std::filesystem::path&)>;
    using Reduce = std::function<ReduceOutcome(const std::optional<SessionState>&, const HookEvent&,
                                               const EventContext&)>;
    using IsEnded = std::function<bool(const SessionState&)>;

    // A hook helper killed mid-write leaves its temporary; one this old is nobody's.
    static constexpr std::chrono::seconds leftoverAge{60};

    explicit SessionFileStore(std::filesystem::path directory) : directory_(std::move(directory)) {}

    static bool isValidSessionId(std::string_view text);

    const std::filesystem::path& directory() const { return directory_; }
    std::filesystem::path fileURL(std::string_view sessionId) const;

    // The hook path. Throws SessionFileStoreError, or a file-system error. An ignored event leaves
    // no lock file behind for a session that has no file.
    ReduceOutcome apply(const HookEvent& event, const EventContext& context) const;
    // The same with the reduction given, e.g. one that a test watches from inside the lock.
    ReduceOutcome apply(const HookEvent& event, const EventContext& context,
                        const Reduce& reduce) const;

    static std::optional<SessionState> read(const std::filesystem::path& url);
    static std::optional<SessionState> decode(std::string_view bytes);
    // Throws on failure; the old file then stays intact.
    static void write(const SessionState& state, const std::filesystem::path& url);

    std::vector<SessionState> loadAll() const;
    // Each session file through `read`, e.g. one that reuses earlier decodes.
    std::vector<SessionState> loadAll(const StateReader& read) const;
    // Removes the temporaries of writes that never finished, last modified before now -
    // leftoverAge.
    void removeLeftovers(TimePoint now) const;
    // Deletes a session's files when its state, read again under its lock, is still ended; a
    // session whose file has gone loses its lock file too. Never waits: when a hook holds the lock
    // right now, nothing happens and the next look decides. True when the session file was deleted.
    bool removeIfEnded(std::string_view sessionId, const IsEnded& isEnded) const;

private:
    std::filesystem::path directory_;
};

} // namespace ostrelvan
