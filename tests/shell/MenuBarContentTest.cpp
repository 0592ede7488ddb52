#include "app/shell/MenuBarContent.h"

#include "app/shell/LaunchMode.h"

#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

TEST(MenuBarContent, AttentionMeansApprovalOrReview) {
    std::vector<DisplayedSession> sessions(2);
    sessions[0].status = SessionStatus::working;
    EXPECT_FALSE(MenuBarContent::needsAttention(sessions));
    for (auto status : {SessionStatus::needsApproval, SessionStatus::awaitingReview}) {
        sessions[1].status = status;
        EXPECT_TRUE(MenuBarContent::needsAttention(sessions));
    }
}

TEST(LaunchMode, FromArgumentsAndEnvironment) {
    using Kind = LaunchMode::Kind;
    EXPECT_EQ(LaunchMode::current({"/usr/bin/ostrelvan-desktop"}, {}),
              (LaunchMode{Kind::normal, ""}));
    EXPECT_EQ(LaunchMode::current({"app", "--design-preview", "Widget"}, {}),
              (LaunchMode{Kind::designPreview, "widget"}));
    EXPECT_EQ(LaunchMode::current({"app", "--design-preview"}, {}),
              (LaunchMode{Kind::designPreview, ""}));
    EXPECT_EQ(LaunchMode::current({"app", "--design-preview", "dark"}, {{"XCTestBundlePath", ""}}),
              (LaunchMode{Kind::tests, ""}));
    EXPECT_EQ(LaunchMode::current({"app"}, {{"XCTestConfigurationFilePath", "/x"}}),
              (LaunchMode{Kind::tests, ""}));
}

} // namespace
} // namespace ostrelvan
