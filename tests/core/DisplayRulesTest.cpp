#include "core/DisplayRules.h"

#include "core/ClaudeRegistry.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using S = SessionStatus;

namespace {

const TimePoint t0 = TimePoint{std::chrono::sys_days{std::chrono::year{2025} / 3 / 14}};

SessionState session(std::string id, double firstSeen, std::string cwd = "/w/app") {
    SessionState s = SessionState::make(std::move(id), std::move(cwd), SessionHost::terminal,
                                        std::nullopt, std::nullopt, addSeconds(t0, firstSeen));
    s.startedConversation = true;
    return s;
}

std::vector<std::string> ids(const std::vector<SessionState>& states) {
    std::vector<std::string> result;
    for (const auto& s : states)
        result.push_back(s.sessionId);
    return result;
}

} // namespace

TEST(DisplayRules, FadeStaleAndAcknowledgementBoundaries) {
    SessionState s = session("a", 0);
    EXPECT_FALSE(DisplayRules::isStale(s, addSeconds(t0, 21600)));
    EXPECT_TRUE(DisplayRules::isStale(s, addSeconds(t0, 21600.001)));
    EXPECT_FALSE(DisplayRules::isAbandoned(s, addSeconds(t0, 172800)));
    EXPECT_TRUE(DisplayRules::isAbandoned(s, addSeconds(t0, 172801)));

    s.status = S::working;
    EXPECT_EQ(DisplayRules::displayStatus(s, addSeconds(t0, 9999), t0, 1), S::working);

    s.status = S::awaitingReview;
    EXPECT_EQ(DisplayRules::displayStatus(s, addSeconds(t0, 600), std::nullopt, 600.0),
              S::awaitingReview);
    EXPECT_EQ(DisplayRules::displayStatus(s, addSeconds(t0, 601), std::nullopt, 600.0), S::idle);
    EXPECT_EQ(DisplayRules::displayStatus(s, addSeconds(t0, 1e6), std::nullopt, std::nullopt),
              S::awaitingReview);
    EXPECT_EQ(DisplayRules::displayStatus(s, t0, addSeconds(t0, -0.001), std::nullopt),
              S::awaitingReview);
    EXPECT_EQ(DisplayRules::displayStatus(s, t0, t0, std::nullopt), S::idle);
}

// An acknowledgement that outlasts "idle_prompt" shows through the real hook path in the store
// test.

TEST(DisplayRules, Visibility) {
    const Environment moved{{"HOME", "/Users/a"}, {"CLAUDE_CONFIG_DIR", "/srv/claude/"}};
    const auto own = ClaudeRegistry::ownFolders("/Users/a", moved);
    const auto home = ClaudeRegistry::ownFolders("/Users/a", {{"HOME", "/Users/a"}});
    EXPECT_EQ(home.size(), 1u);

    SessionState s = session("a", 0, "/Users/a/src");
    EXPECT_TRUE(DisplayRules::isShown(s, own, false));
    // Inside CLAUDE_CONFIG_DIR, or a session that never started a conversation: hidden, through
    // the real program in the command line's test.
    s.root = "/Users/a/.claude";
    EXPECT_FALSE(DisplayRules::isShown(s, own, true));
    s.root = "/srv/claude/projects";
    EXPECT_TRUE(DisplayRules::isShown(s, home, true)); // only while CLAUDE_CONFIG_DIR points there
    s.root = "/Users/a/.claudex";
    EXPECT_TRUE(DisplayRules::isShown(s, own, true));
    s.startedConversation.reset();
    EXPECT_TRUE(DisplayRules::isShown(s, own, true));
    EXPECT_FALSE(DisplayRules::isShown(s, own, false));
}

TEST(DisplayRules, OrderGroupsAndNames) {
    SessionState a = session("a", 0, "/w/app"), b = session("b", 1, "/w/lib"),
                 c = session("c", 2, "/x/app"), d = session("d", 1, "/y/app");
    EXPECT_EQ(ids(DisplayRules::ordered({c, d, b, a})),
              (std::vector<std::string>{"a", "b", "d", "c"}));
    auto window = [](const SessionState& s) { return s.sessionId == "b" ? "w2" : "w1"; };
    auto groups = DisplayRules::grouped({c, b, a, d}, window);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(ids(groups[0]), (std::vector<std::string>{"a", "d", "c"}));
    EXPECT_EQ(ids(groups[1]), (std::vector<std::string>{"b"}));

    // "app" three times across groups, in display order; a blank title does not count; the " #2"
    // of a title that collides with a project is fine. A title winning over the project is the
    // command line's test.
    b.title = "  app \n";
    d.title = " ";
    groups = DisplayRules::grouped({a, b, c, d}, window);
    auto names = DisplayRules::names(groups);
    EXPECT_EQ(names, (std::map<std::string, std::string>{
                         {"a", "app"}, {"d", "app #2"}, {"c", "app #3"}, {"b", "app #4"}}));
}

TEST(DisplayRules, Texts) {
    SessionState s = session("a", 0);
    const std::string dot = " \u00b7 ";
    // The other status lines show in the front-end and end-to-end tests.
    s.backgroundTasks = 1;
    EXPECT_EQ(DisplayRules::statusLine(s, S::awaitingReview),
              "Awaiting review" + dot + "1 background task");
    s.backgroundTasks = 3;
    EXPECT_EQ(DisplayRules::statusLine(s, S::awaitingReview),
              "Awaiting review" + dot + "3 background tasks");
    s.tool = "AskUserQuestion";
    EXPECT_EQ(DisplayRules::statusLine(s, S::needsApproval), "Needs your answer");

    for (auto [seconds, text] : {std::pair<double, const char*>{-5, "now"},
                                 {59, "now"},
                                 {119, "1m"},
                                 {3599, "59m"},
                                 {7200, "2h"},
                                 {172800, "2d"}})
        EXPECT_EQ(DisplayRules::elapsed(t0, addSeconds(t0, seconds)), text) << seconds;
    EXPECT_EQ(DisplayRules::sessionCountCaption(0), "0 Claude Code sessions");
}
