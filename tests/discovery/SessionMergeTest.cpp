#include "core/SessionMerge.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace std::chrono_literals;

namespace {

const TimePoint ten = TimePoint(std::chrono::sys_days(std::chrono::year(2025) / 3 / 14)) + 10h;

SessionState hook(std::string id, std::optional<std::int32_t> pid = std::nullopt,
                  SessionStatus status = SessionStatus::working) {
    SessionState s;
    s.sessionId = std::move(id);
    s.cwd = "/w/" + s.sessionId;
    s.root = s.cwd;
    s.title = "hook title";
    s.pid = pid;
    s.status = status;
    s.activity = SessionActivity::runningCommands;
    s.tool = "Bash";
    s.detail = "npm test";
    s.pendingApproval = "Bash|npm test";
    s.statusSince = s.firstSeen = s.lastEvent = ten;
    return s;
}

ClaudeProcess process(std::int32_t pid, std::string id, std::optional<std::string> status = {}) {
    ClaudeProcess p;
    p.pid = pid;
    p.sessionId = std::move(id);
    p.cwd = "/proc/" + p.sessionId;
    p.status = std::move(status);
    p.startedAt = ten - 30min;
    return p;
}

} // namespace

TEST(SessionMerge, CombinesHooksAndRegistry) {
    const std::vector<SessionState> hooks{hook("a", 4242), hook("b"), hook("c", 77), hook("a")};
    EXPECT_EQ(SessionMerge::merge(hooks, {}), hooks);

    auto early = process(50, "c");
    early.startedAt = ten - 2min;
    auto late = process(60, "b");
    late.startedAt = ten + 5min;
    auto background = process(70, "d");
    background.kind = "background";
    auto takeover = process(4242, "new"); // same process, new conversation: "a" is hidden
    takeover.kind = "interactive";
    const auto merged = SessionMerge::merge(hooks, {early, late, background, takeover});

    ASSERT_EQ(merged.size(), 4u);
    auto c = hooks[2];
    c.root = "/proc/c", c.pid = 50, c.firstSeen = ten - 2min;
    EXPECT_EQ(merged[0], c);
    auto b = hooks[1];
    b.root = "/proc/b", b.pid = 60; // firstSeen stays the earlier hook time
    EXPECT_EQ(merged[1], b);
    EXPECT_EQ(merged[2], SessionMerge::state(takeover));
    EXPECT_EQ(merged[3], hooks[3]); // no pid, no process: kept unchanged

    // A non-interactive process hides nothing and adds nothing.
    auto d = hook("d", 70);
    EXPECT_EQ(SessionMerge::merge({d}, {background}), std::vector<SessionState>{d});
}

TEST(SessionMerge, StateFromRegistryOnly) {
    auto p = process(9, "solo", "waiting");
    p.entrypoint = "claude-vscode";
    p.statusUpdatedAt = ten - 1min;
    p.updatedAt = ten;
    auto expected =
        SessionState::make("solo", "/proc/solo", SessionHost::vscode, std::nullopt, 9, ten - 30min);
    expected.startedConversation.reset();
    expected.status = SessionStatus::needsApproval;
    expected.statusSince = ten - 1min;
    expected.lastEvent = ten;
    EXPECT_EQ(SessionMerge::state(p), expected);

    const std::vector<std::pair<std::optional<std::string>, SessionStatus>> statuses{
        {"busy", SessionStatus::working},
        {"idle", SessionStatus::idle},
        {"shell", SessionStatus::idle},
        {std::nullopt, SessionStatus::idle}};
    for (const auto& [status, expected] : statuses) {
        const auto t = SessionMerge::state(process(3, "x", status));
        EXPECT_EQ(t.status, expected) << status.value_or("none");
        EXPECT_EQ(t.statusSince, ten - 30min); // no status time: since the start
    }
}

// Claude Code fires no hook on an interrupted turn or a refused permission, and auto mode can
// ask without "PermissionRequest": its own record then has the newer word. Each row says what the
// merged session shows: its status, since when (after the hook's last event), and whether the
// hook's tool, detail and pending approval stay.
TEST(SessionMerge, RegistryStatusEndsWhatHooksCannotSee) {
    struct Case {
        const char* name;
        SessionStatus hookStatus;
        std::optional<std::string> registryStatus;
        std::optional<std::chrono::milliseconds> changedAfterHook;
        SessionStatus status;
        std::chrono::milliseconds since;
        bool keepsStep;
    };
    constexpr auto working = SessionStatus::working, asking = SessionStatus::needsApproval,
                   review = SessionStatus::awaitingReview, idle = SessionStatus::idle;
    const std::vector<Case> cases{
        {"permission refused", asking, "idle", 4s, idle, 4s, false},
        {"turn interrupted", working, "idle", 1ms, idle, 1ms, false},
        {"auto mode asks", working, "waiting", 2s, asking, 2s, true},
        {"idle before last hook", working, "idle", -3s, working, 0s, true},
        {"idle at last hook", asking, "idle", 0s, asking, 0s, true},
        {"idle without time", working, "idle", std::nullopt, working, 0s, true},
        {"waiting while asking", asking, "waiting", 2s, asking, 0s, true},
        {"waiting while idle", idle, "waiting", 2s, idle, 0s, true},
        {"review after idle", review, "idle", 5s, review, 0s, true},
        {"busy while idle", idle, "busy", 5s, idle, 0s, true},
        {"no status yet", working, std::nullopt, 5s, working, 0s, true},
    };
    for (const Case& c : cases) {
        auto p = process(11, "s", c.registryStatus);
        if (c.changedAfterHook) {
            p.statusUpdatedAt = ten + *c.changedAfterHook;
        }
        const auto merged = SessionMerge::merge({hook("s", 11, c.hookStatus)}, {p});
        ASSERT_EQ(merged.size(), 1u) << c.name;
        const SessionState& m = merged[0];
        EXPECT_EQ(m.status, c.status) << c.name;
        EXPECT_EQ(m.statusSince, ten + c.since) << c.name;
        EXPECT_EQ(m.tool.has_value(), c.keepsStep) << c.name;
        EXPECT_EQ(m.detail.has_value(), c.keepsStep) << c.name;
        EXPECT_EQ(m.pendingApproval.has_value(), c.keepsStep) << c.name;
        EXPECT_EQ(m.activity, SessionActivity::runningCommands) << c.name;
        EXPECT_EQ(m.lastEvent, ten) << c.name;
    }
}
