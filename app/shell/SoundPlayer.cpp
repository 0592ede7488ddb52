#include "app/shell/SoundPlayer.h"

namespace ostrelvan {

SoundPlayer::SoundPlayer(Clock clock, Play play)
    : clock_(std::move(clock)), play_(std::move(play)), startedAt_(wallClockNow()) {}

std::optional<SoundPlayer::Cue> SoundPlayer::cue(SessionStatus status) {
    switch (status) {
    case SessionStatus::needsApproval:
        return Cue::approval;
    case SessionStatus::awaitingReview:
        return Cue::done;
    case SessionStatus::working:
    case SessionStatus::idle:
        return std::nullopt;
    }
    return std::nullopt;
}

bool SoundPlayer::handle(SessionStatus status, bool enabled) {
    if (!enabled) {
        return false;
    }
    const auto chosen = cue(status);
    if (!chosen) {
        return false;
    }
    const TimePoint now = clock_();
    if (secondsBetween(startedAt_, now) < quietPeriod) {
        return false;
    }
    if (lastPlayed_ && secondsBetween(*lastPlayed_, now) < minimumGap) {
        return false;
    }
    lastPlayed_ = now;
    play_(*chosen);
    return true;
}

} // namespace ostrelvan
