#pragma once

#include "app/platform/SystemSound.h"
#include "core/SessionStatus.h"
#include "core/Time.h"

#include <functional>
#include <optional>

namespace ostrelvan {

// Decides for each status change whether a cue plays: never in the first seconds after launch,
// whose first reload reports every waiting session as new, and never twice within a short gap,
// so several sessions changing at once give one cue rather than a chord.
class SoundPlayer {
public:
    using Cue = SystemSound::Cue;
    using Clock = std::function<TimePoint()>;
    using Play = std::function<void(Cue)>;

    static constexpr double quietPeriod = 3.0; // seconds after launch
    static constexpr double minimumGap = 2.0;  // seconds between two cues played

    // `startedAt` is the wall clock now, whatever `clock` says.
    SoundPlayer(Clock clock, Play play);

    static std::optional<Cue> cue(SessionStatus status);

    // Plays the cue for `status` when the rules allow; true when it did. A suppressed cue is not
    // kept for later and does not count as played.
    bool handle(SessionStatus status, bool enabled);

    TimePoint startedAt() const { return startedAt_; }
    std::optional<TimePoint> lastPlayed() const { return lastPlayed_; }

private:
    Clock clock_;
    Play play_;
    TimePoint startedAt_;
    std::optional<TimePoint> lastPlayed_;
};

} // namespace ostrelvan
