#include "core/SessionReducer.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace ostrelvan;
using Kind = HookEvent::Kind;

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

// What a step changes, in one line: status, activity, the fields that are set, and the times in
// seconds after t0.
std::string line(const std::optional<SessionState>& s) {
    if (!s)
        return "none";
    std::ostringstream out;
    out << toString(s->status) << ' ' << toString(s->activity);
    for (const auto& [name, value] :
         {std::pair{" tool=", s->tool}, {" detail=", s->detail}, {" pending=", s->pendingApproval}})
        if (value)
            out << name << *value;
    out << " since=" << secondsBetween(t0, s->statusSince)
        << " last=" << secondsBetween(t0, s->lastEvent);
    if (s->approvalResolvedAt)
        out << " resolved=" << secondsBetween(t0, *s->approvalResolvedAt);
    if (s->backgroundTasks)
        out << " tasks=" << s->backgroundTasks;
    return out.str();
}

struct Step {
    HookEvent event;
    double at;
    std::string after; // line() of the state after the event; empty: not checked
};

// Folds events into one session, the way the store does.
std::optional<SessionState> play(const std::vector<Step>& steps,
                                 std::optional<SessionState> state = std::nullopt) {
    for (const Step& step : steps) {
        const EventContext context{addSeconds(t0, step.at), SessionHost::terminal, "kitty", 42};
        const ReduceOutcome outcome = SessionReducer::reduce(state, step.event, context);
        if (outcome.kind == ReduceOutcome::Kind::write)
            state = outcome.state;
        else if (outcome.kind == ReduceOutcome::Kind::remove)
            state.reset();
        if (!step.after.empty()) {
            EXPECT_EQ(line(state), step.after) << step.event.rawName << " at " << step.at;
        }
    }
    return state;
}

} // namespace

TEST(SessionReducer, TurnWithToolCallPermissionAnswerAndStop) {
    auto s = play({{event(Kind::sessionStart), 0, "idle working since=0 last=0"}});
    EXPECT_EQ(s->startedConversation, false);
    HookEvent prompt = event(Kind::userPromptSubmit);
    prompt.sessionTitle = "  Fix parser \n";
    HookEvent stop = event(Kind::stop);
    stop.runningBackgroundTasks = 2;
    const std::string rm = " tool=Bash detail=rm -rf build pending=Bash|rm -rf build since=3";
    s = play(
        {{prompt, 1, "working thinking since=1 last=1"},
         {event(Kind::preToolUse, "Bash", "npm test"), 2,
          "working runningTests tool=Bash detail=npm test since=1 last=2"},
         {event(Kind::permissionRequest, "Bash", "rm -rf build"), 3,
          "needsApproval runningTests" + rm + " last=3"},
         // The same request again keeps statusSince; a tool starting meanwhile changes
         // activity only, and an answer for another call leaves the approval pending.
         {event(Kind::permissionRequest, "Bash", "rm -rf build"), 4,
          "needsApproval runningTests" + rm + " last=4"},
         {event(Kind::preToolUse, "Read"), 4.5, "needsApproval readingCode" + rm + " last=4.5"},
         {event(Kind::postToolUse, "Read"), 5, "needsApproval readingCode" + rm + " last=5"},
         // PostToolUse leaves the step on show.
         {event(Kind::postToolUse, "Bash", "rm -rf build"), 6,
          "working readingCode tool=Bash detail=rm -rf build since=6 last=6 resolved=6"},
         {stop, 7, "awaitingReview readingCode since=7 last=7 resolved=6 tasks=2"},
         // A stop while still asking resolves the approval.
         {event(Kind::permissionRequest, "Edit"), 8, ""},
         {event(Kind::stop), 9, "awaitingReview readingCode since=9 last=9 resolved=9"}},
        s);
    EXPECT_EQ(s->title, "Fix parser");
    EXPECT_EQ(s->startedConversation, true);
    EXPECT_EQ(s->firstSeen, t0);
    EXPECT_EQ(s->terminalApp, "kitty");
}

TEST(SessionReducer, LatePermissionNotificationWindow) {
    for (double delay : {9.9, 10.0}) {
        const auto s = play({{event(Kind::userPromptSubmit), 0, ""},
                             {event(Kind::permissionRequest, "Bash", "ls"), 1, ""},
                             {event(Kind::postToolUse, "Bash", "ls"), 2, ""},
                             {notification("permission_prompt"), 2 + delay, ""}});
        EXPECT_EQ(s->status, delay < 10 ? SessionStatus::working : SessionStatus::needsApproval)
            << delay;
        EXPECT_EQ(s->lastEvent, addSeconds(t0, 2 + delay));
    }
    // Outside the window the notification clears the step but keeps any pending signature; it
    // never turns needsApproval into idle.
    play({{event(Kind::preToolUse, "Bash", "make"), 0, ""},
          {notification("permission_prompt"), 1, "needsApproval runningCommands since=1 last=1"},
          {notification("idle_prompt"), 2, "needsApproval runningCommands since=1 last=2"},
          {event(Kind::userPromptSubmit), 3, "working thinking since=3 last=3 resolved=3"},
          {notification("idle_prompt"), 4, "idle thinking since=4 last=4 resolved=3"}});
}

TEST(SessionReducer, UnknownIgnoredAndEndingEvents) {
    HookEvent unknown = event(Kind::stop);
    unknown.kind.reset();
    unknown.rawName = "SubagentStop";
    HookEvent moved = event(Kind::sessionStart);
    moved.cwd = "/w/app/sub";
    HookEvent noCwd = event(Kind::sessionStart);
    noCwd.cwd.clear();
    const std::string review = "awaitingReview working since=1 last=";
    auto s = play({{unknown, 0, "none"},
                   {event(Kind::sessionEnd), 0, "none"},
                   {event(Kind::stop), 1, review + "1"},
                   {notification("auth_success"), 2, review + "1"},
                   {notification(nullptr), 2, review + "1"},
                   // Every kind that reaches the record writes, even when nothing else changes.
                   {moved, 3, review + "3"},
                   {noCwd, 4, review + "4"}});
    EXPECT_EQ(s->firstSeen, addSeconds(t0, 1));
    EXPECT_EQ(s->cwd, "/w/app/sub");
    EXPECT_EQ(s->root, "/w/app");
    play({{event(Kind::subagentStart), 5, "working runningAgents since=5 last=5"},
          {event(Kind::preCompact), 6, "working compacting since=5 last=6"},
          {event(Kind::sessionEnd), 7, "none"}},
         s);
}

TEST(SessionReducer, StartSourcesTitlesAndContext) {
    using Row = std::pair<const char*, bool>; // a source, and whether the conversation started
    for (auto [source, started] : {Row{"resume", true}, {"startup", false}, {{}, false}}) {
        HookEvent start = event(Kind::sessionStart);
        if (source)
            start.source = source;
        EXPECT_EQ(play({{start, 0, ""}})->startedConversation, started)
            << (source ? source : "none");
    }
    HookEvent titled = event(Kind::userPromptSubmit);
    titled.sessionTitle = "Named";
    HookEvent blank = titled;
    blank.sessionTitle = " \n\t ";
    const auto s = play({{titled, 0, ""}, {blank, 1, ""}});
    EXPECT_EQ(s->title, "Named");

    // terminalApp follows the context even when absent; pid only when present.
    EventContext bare{addSeconds(t0, 2), SessionHost::vscode, std::nullopt, std::nullopt};
    SessionState next = *SessionReducer::reduce(s, event(Kind::postToolUse), bare).state;
    EXPECT_EQ(next.host, SessionHost::vscode);
    EXPECT_FALSE(next.terminalApp);
    EXPECT_EQ(next.pid, 42);
}
