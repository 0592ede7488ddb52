#include "SessionReducer.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using Kind = HookEvent::Kind;
using S = SessionStatus;

namespace {

const TimePoint t0 = TimePoint{std::chrono::sys_days{std::chrono::year{2025} / 3 / 14}};

HookEvent event(Kind kind, std::optional<std::string> tool = std::nullopt,
                std::optional<std::string> command = std::nullopt) {
    HookEvent e;
    e.kind = kind;
    e.rawName = std::string(toString(kind));
    e.sessionId = "s1";
    e.cwd = "/w/app";
    e.toolName = std::move(tool);
    e.command = std::move(command);
    return e;
}

HookEvent notification(const char* type) {
    HookEvent e = event(Kind::notification);
    if (type)
        e.notificationType = type;
    return e;
}

// Folds events into one session, the way the store does, at the given seconds after t0.
class Session {
public:
    ReduceOutcome apply(const HookEvent& e, double at) {
        EventContext context{addSeconds(t0, at), SessionHost::terminal, "kitty", 42};
        ReduceOutcome outcome = SessionReducer::reduce(state, e, context);
        if (outcome.kind == ReduceOutcome::Kind::write)
            state = outcome.state;
        else if (outcome.kind == ReduceOutcome::Kind::remove)
            state.reset();
        return outcome;
    }
    std::optional<SessionState> state;
};

} // namespace

TEST(SessionReducer, TurnWithToolCallPermissionAnswerAndStop) {
    Session s;
    s.apply(event(Kind::sessionStart), 0);
    EXPECT_EQ(s.state->status, S::idle);
    EXPECT_EQ(s.state->startedConversation, false);

    HookEvent prompt = event(Kind::userPromptSubmit);
    prompt.sessionTitle = "  Fix parser \n";
    s.apply(prompt, 1);
    EXPECT_EQ(s.state->status, S::working);
    EXPECT_EQ(s.state->activity, SessionActivity::thinking);
    EXPECT_EQ(s.state->title, "Fix parser");
    EXPECT_EQ(s.state->startedConversation, true);

    s.apply(event(Kind::preToolUse, "Bash", "npm test"), 2);
    EXPECT_EQ(s.state->activity, SessionActivity::runningTests);
    EXPECT_EQ(s.state->tool, "Bash");
    EXPECT_EQ(s.state->detail, "npm test");
    EXPECT_EQ(s.state->statusSince, addSeconds(t0, 1));

    s.apply(event(Kind::permissionRequest, "Bash", "rm -rf build"), 3);
    EXPECT_EQ(s.state->status, S::needsApproval);
    EXPECT_EQ(s.state->pendingApproval, "Bash|rm -rf build");
    EXPECT_EQ(s.state->detail, "rm -rf build");

    // The same request again keeps statusSince; a tool starting meanwhile changes activity only.
    s.apply(event(Kind::permissionRequest, "Bash", "rm -rf build"), 4);
    s.apply(event(Kind::preToolUse, "Read"), 4.5);
    EXPECT_EQ(s.state->statusSince, addSeconds(t0, 3));
    EXPECT_EQ(s.state->activity, SessionActivity::readingCode);
    EXPECT_EQ(s.state->tool, "Bash");
    EXPECT_EQ(s.state->detail, "rm -rf build");

    // An answer for another call leaves the approval pending.
    s.apply(event(Kind::postToolUse, "Read"), 5);
    EXPECT_EQ(s.state->status, S::needsApproval);
    EXPECT_EQ(s.state->pendingApproval, "Bash|rm -rf build");

    s.apply(event(Kind::postToolUse, "Bash", "rm -rf build"), 6);
    EXPECT_EQ(s.state->status, S::working);
    EXPECT_FALSE(s.state->pendingApproval);
    EXPECT_EQ(s.state->approvalResolvedAt, addSeconds(t0, 6));
    EXPECT_EQ(s.state->tool, "Bash"); // PostToolUse leaves the step on show

    HookEvent stop = event(Kind::stop);
    stop.runningBackgroundTasks = 2;
    s.apply(stop, 7);
    EXPECT_EQ(s.state->status, S::awaitingReview);
    EXPECT_EQ(s.state->backgroundTasks, 2);
    EXPECT_FALSE(s.state->tool);
    EXPECT_FALSE(s.state->detail);
    EXPECT_EQ(s.state->activity, SessionActivity::readingCode);
    EXPECT_EQ(s.state->statusSince, addSeconds(t0, 7));
    EXPECT_EQ(s.state->firstSeen, t0);
    EXPECT_EQ(s.state->lastEvent, addSeconds(t0, 7));
    EXPECT_EQ(s.state->pid, 42);
    EXPECT_EQ(s.state->terminalApp, "kitty");

    // A stop while still asking resolves the approval.
    s.apply(event(Kind::permissionRequest, "Edit"), 8);
    s.apply(event(Kind::stop), 9);
    EXPECT_EQ(s.state->approvalResolvedAt, addSeconds(t0, 9));
    EXPECT_FALSE(s.state->pendingApproval);
}

TEST(SessionReducer, LatePermissionNotificationWindow) {
    for (double delay : {9.9, 10.0}) {
        Session s;
        s.apply(event(Kind::userPromptSubmit), 0);
        s.apply(event(Kind::permissionRequest, "Bash", "ls"), 1);
        s.apply(event(Kind::postToolUse, "Bash", "ls"), 2);
        s.apply(notification("permission_prompt"), 2 + delay);
        EXPECT_EQ(s.state->status, delay < 10 ? S::working : S::needsApproval) << delay;
        EXPECT_EQ(s.state->lastEvent, addSeconds(t0, 2 + delay));
    }
    // Outside the window the notification clears the step but keeps any pending signature.
    Session s;
    s.apply(event(Kind::preToolUse, "Bash", "make"), 0);
    s.apply(notification("permission_prompt"), 1);
    EXPECT_EQ(s.state->status, S::needsApproval);
    EXPECT_FALSE(s.state->tool);
    s.apply(notification("idle_prompt"), 2);
    EXPECT_EQ(s.state->status, S::needsApproval); // never from needsApproval to idle
    s.apply(event(Kind::userPromptSubmit), 3);
    EXPECT_EQ(s.state->approvalResolvedAt, addSeconds(t0, 3));
    s.apply(notification("idle_prompt"), 4);
    EXPECT_EQ(s.state->status, S::idle);
}

TEST(SessionReducer, UnknownIgnoredAndEndingEvents) {
    Session s;
    HookEvent unknown = event(Kind::stop);
    unknown.kind.reset();
    unknown.rawName = "SubagentStop";
    EXPECT_EQ(s.apply(unknown, 0), ReduceOutcome::ignore());
    EXPECT_EQ(s.apply(event(Kind::sessionEnd), 0), ReduceOutcome::remove());

    s.apply(event(Kind::stop), 1);
    EXPECT_EQ(s.state->status, S::awaitingReview);
    EXPECT_EQ(s.state->firstSeen, s.state->statusSince);
    EXPECT_EQ(s.state->root, "/w/app");
    for (const char* type : {"auth_success", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(s.apply(notification(type), 2), ReduceOutcome::ignore());
    EXPECT_EQ(s.state->lastEvent, addSeconds(t0, 1));

    // Every kind that reaches the record writes, even when nothing else changes.
    HookEvent moved = event(Kind::sessionStart);
    moved.cwd = "/w/app/sub";
    EXPECT_EQ(s.apply(moved, 3).kind, ReduceOutcome::Kind::write);
    EXPECT_EQ(s.state->cwd, "/w/app/sub");
    EXPECT_EQ(s.state->root, "/w/app");
    HookEvent noCwd = event(Kind::sessionStart);
    noCwd.cwd.clear();
    s.apply(noCwd, 4);
    EXPECT_EQ(s.state->cwd, "/w/app/sub");
    EXPECT_EQ(s.state->lastEvent, addSeconds(t0, 4));

    s.apply(event(Kind::subagentStart), 5);
    EXPECT_EQ(s.state->status, S::working);
    EXPECT_EQ(s.state->activity, SessionActivity::runningAgents);
    s.apply(event(Kind::preCompact), 6);
    EXPECT_EQ(s.state->activity, SessionActivity::compacting);
    EXPECT_EQ(s.state->statusSince, addSeconds(t0, 5));

    EXPECT_EQ(s.apply(event(Kind::sessionEnd), 7), ReduceOutcome::remove());
    EXPECT_FALSE(s.state);
}

TEST(SessionReducer, StartSourcesTitlesAndContext) {
    for (auto [source, started] : {std::pair<const char*, bool>{"resume", true},
                                   {"compact", true},
                                   {"startup", false},
                                   {"clear", false},
                                   {nullptr, false}}) {
        Session s;
        HookEvent start = event(Kind::sessionStart);
        if (source)
            start.source = source;
        s.apply(start, 0);
        EXPECT_EQ(s.state->startedConversation, started) << (source ? source : "none");
    }
    Session s;
    HookEvent titled = event(Kind::userPromptSubmit);
    titled.sessionTitle = "Named";
    s.apply(titled, 0);
    titled.sessionTitle = " \n\t ";
    s.apply(titled, 1);
    EXPECT_EQ(s.state->title, "Named");

    // terminalApp follows the context even when absent; pid only when present.
    EventContext bare{addSeconds(t0, 2), SessionHost::vscode, std::nullopt, std::nullopt};
    SessionState next = *SessionReducer::reduce(s.state, event(Kind::postToolUse), bare).state;
    EXPECT_EQ(next.host, SessionHost::vscode);
    EXPECT_FALSE(next.terminalApp);
    EXPECT_EQ(next.pid, 42);
}
