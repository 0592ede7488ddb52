#pragma once

#include "app/discovery/TranscriptInfo.h"
#include "core/SessionState.h"
#include "core/Time.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace ostrelvan {

// Finds a session's transcript, reads only its tail for the title, and caches the answer so
// that the store's reloads touch the disk only when something changed. One thread only.
// The app runs for weeks: prune() forgets the sessions that are no longer asked about.
class TranscriptReader {
public:
    using Clock = std::function<TimePoint()>;

    struct Entry {
        std::optional<std::filesystem::path> url;
        std::int64_t size = -1;
        TimePoint modified = TimePoint::min();
        TimePoint readAt = TimePoint::min();
        TranscriptInfo info;
        std::uint64_t pass = 0; // the prune() pass in which the session was last asked about
    };

    TranscriptReader(std::filesystem::path config, Clock clock);

    TranscriptInfo info(const SessionState& state);
    // Forgets the sessions not asked about since the previous call: those no longer listed.
    void prune();
    std::size_t size() const { return entries_.size(); }

    std::optional<std::filesystem::path> locate(const SessionState& state) const;
    static std::optional<std::string> title(const std::filesystem::path& url, std::int64_t size);
    // Where the tail read of a file of `size` bytes starts.
    static std::int64_t tailOffset(std::int64_t size);

private:
    std::filesystem::path config_;
    Clock clock_;
    std::map<std::string, Entry, std::less<>> entries_;
    std::uint64_t pass_ = 0;
};

} // namespace ostrelvan
