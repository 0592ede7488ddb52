#include "app/shell/SoundPlayer.h"

#include <gtest/gtest.h>
#include <vector>

namespace ostrelvan {
namespace {

using Cue = SoundPlayer::Cue;

// A player whose clock reads `offset` seconds after its own start.
struct Harness {
    double offset = 0;
    std::vector<Cue> played;
    SoundPlayer player{[this] { return addSeconds(player.startedAt(), offset); },
                       [this](Cue cue) { played.push_back(cue); }};

    bool at(double seconds, SessionStatus status, bool enabled = true) {
        offset = seconds;
        return player.handle(status, enabled);
    }
};

TEST(SoundPlayer, KeepsQuietJustAfterLaunch) {
    Harness h;
    EXPECT_FALSE(h.at(2.9, SessionStatus::needsApproval));
    EXPECT_FALSE(h.player.lastPlayed());
    EXPECT_TRUE(h.at(3.0, SessionStatus::needsApproval));
    EXPECT_EQ(h.played, std::vector{Cue::approval});
}

TEST(SoundPlayer, PlaysOnceForABurstAndAgainAfterTheGap) {
    Harness h;
    EXPECT_TRUE(h.at(10.0, SessionStatus::awaitingReview));
    EXPECT_FALSE(h.at(11.5, SessionStatus::awaitingReview));
    // The gap counts from the cue played, not from the one suppressed.
    EXPECT_TRUE(h.at(12.0, SessionStatus::awaitingReview));
    EXPECT_EQ(h.played, (std::vector{Cue::done, Cue::done}));
}

TEST(SoundPlayer, NeverPlaysWhenOffOrForWorkAndIdle) {
    Harness h;
    EXPECT_FALSE(h.at(10, SessionStatus::needsApproval, false));
    EXPECT_FALSE(h.at(20, SessionStatus::working));
    EXPECT_FALSE(h.at(30, SessionStatus::idle));
    EXPECT_TRUE(h.played.empty());
    EXPECT_FALSE(h.player.lastPlayed());
    // Nothing above moved the gap: a cue right after plays.
    EXPECT_TRUE(h.at(30.1, SessionStatus::needsApproval));
}

} // namespace
} // namespace ostrelvan
