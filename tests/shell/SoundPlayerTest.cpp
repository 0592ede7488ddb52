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

TEST(SoundPlayer, QuietAfterLaunchOnceABurstAndNeverWhenOffOrForWorkAndIdle) {
    Harness launch;
    EXPECT_FALSE(launch.at(2.9, SessionStatus::needsApproval));
    EXPECT_FALSE(launch.player.lastPlayed());
    EXPECT_TRUE(launch.at(3.0, SessionStatus::needsApproval));
    EXPECT_EQ(launch.played, std::vector{Cue::approval});

    Harness burst;
    EXPECT_TRUE(burst.at(10.0, SessionStatus::awaitingReview));
    EXPECT_FALSE(burst.at(11.5, SessionStatus::awaitingReview));
    // The gap counts from the cue played, not from the one suppressed.
    EXPECT_TRUE(burst.at(12.0, SessionStatus::awaitingReview));
    EXPECT_EQ(burst.played, (std::vector{Cue::done, Cue::done}));

    Harness quiet;
    EXPECT_FALSE(quiet.at(10, SessionStatus::needsApproval, false));
    EXPECT_FALSE(quiet.at(20, SessionStatus::working));
    EXPECT_FALSE(quiet.at(30, SessionStatus::idle));
    EXPECT_FALSE(quiet.player.lastPlayed());
    // Nothing above moved the gap: a cue right after plays.
    EXPECT_TRUE(quiet.at(30.1, SessionStatus::needsApproval));
    EXPECT_EQ(quiet.played, std::vector{Cue::approval});
}

} // namespace
} // namespace ostrelvan
