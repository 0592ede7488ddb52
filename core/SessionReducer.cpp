#include "core/SessionReducer.h"

#include "core/ActivityClassifier.h"
#include "core/ApprovalDetail.h"

namespace ostrelvan::SessionReducer {

namespace {

using Kind = HookEvent::Kind;

void enter(SessionState& state, SessionStatus status, TimePoint now) {
    if (state.status == status)
        return;
    state.status = status;
    state.statusSince = now;
}

void resolveApproval(SessionState& state, TimePoint now) {
    state.approvalResolvedAt = now;
    state.pendingApproval.reset();
}

void clearStep(SessionState& state) {
    state.tool.reset();
    state.detail.reset();
}

// Prompt and stop end any approval still on show.
void endTurnApproval(SessionState& state, TimePoint now) {
    if (state.status == SessionStatus::needsApproval || state.pendingApproval)
        state.approvalResolvedAt = now;
    state.pendingApproval.reset();
}

std::optional<std::string> trimmedTitle(const std::string& text) {
    constexpr std::string_view blanks = " \t\n\r\v\f";
    auto first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return std::nullopt;
    auto last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

void updateCommon(SessionState& state, const HookEvent& event, const EventContext& context) {
    if (!event.cwd.empty())
        state.cwd = event.cwd;
    state.host = context.host;
    state.terminalApp = context.terminalApp;
    if (context.pid)
        state.pid = context.pid;
    state.lastEvent = context.now;
    if (event.sessionTitle)
        if (auto title = trimmedTitle(*event.sessionTitle))
            state.title = std::move(title);
    // A fresh or cleared start has not been given a prompt yet; a resumed one has.
    const bool freshStart =
        *event.kind == Kind::sessionStart &&
        (!event.source || *event.source == "startup" || *event.source == "clear");
    if (!freshStart)
        state.startedConversation = true;
}

void startWorkingIfResting(SessionState& state, TimePoint now) {
    if (state.status == SessionStatus::awaitingReview || state.status == SessionStatus::idle)
        enter(state, SessionStatus::working, now);
}

void transition(SessionState& state, const HookEvent& event, const EventContext& context) {
    const TimePoint now = context.now;
    switch (*event.kind) {
    case Kind::sessionStart:
    case Kind::sessionEnd:
        break;
    case Kind::userPromptSubmit:
        endTurnApproval(state, now);
        enter(state, SessionStatus::working, now);
        state.activity = SessionActivity::thinking;
        clearStep(state);
        break;
    case Kind::preToolUse:
        state.activity = ActivityClassifier::activity(event.toolName.value_or(""), event.command);
        if (state.status == SessionStatus::needsApproval)
            break;
        enter(state, SessionStatus::working, now);
        state.tool = event.toolName;
        state.detail = ApprovalDetail::describe(event);
        break;
    case Kind::postToolUse:
    case Kind::postToolUseFailure:
        if (state.status == SessionStatus::needsApproval) {
            if (state.pendingApproval && *state.pendingApproval != ApprovalDetail::signature(event))
                break;
            resolveApproval(state, now);
            enter(state, SessionStatus::working, now);
        } else {
            startWorkingIfResting(state, now);
        }
        break;
    case Kind::permissionRequest:
        state.pendingApproval = ApprovalDetail::signature(event);
        state.tool = event.toolName;
        state.detail = ApprovalDetail::describe(event);
        enter(state, SessionStatus::needsApproval, now);
        break;
    case Kind::notification:
        if (*event.notificationType == "idle_prompt") {
            if (state.status == SessionStatus::working) {
                clearStep(state);
                enter(state, SessionStatus::idle, now);
            }
        } else if (state.status != SessionStatus::needsApproval) {
            bool lateEcho = state.approvalResolvedAt &&
                            secondsBetween(*state.approvalResolvedAt, now) < lateNotificationWindow;
            if (!lateEcho) {
                clearStep(state);
                enter(state, SessionStatus::needsApproval, now);
            }
        }
        break;
    case Kind::stop:
        endTurnApproval(state, now);
        state.backgroundTasks = event.runningBackgroundTasks;
        clearStep(state);
        enter(state, SessionStatus::awaitingReview, now);
        break;
    case Kind::subagentStart:
        state.activity = SessionActivity::runningAgents;
        startWorkingIfResting(state, now);
        break;
    case Kind::preCompact:
        state.activity = SessionActivity::compacting;
        startWorkingIfResting(state, now);
        break;
    }
}

} // namespace

ReduceOutcome reduce(const std::optional<SessionState>& state, const HookEvent& event,
                     const EventContext& context) {
    if (!event.kind)
        return ReduceOutcome::ignore();
    if (*event.kind == Kind::sessionEnd)
        return ReduceOutcome::remove();
    if (*event.kind == Kind::notification &&
        (!event.notificationType || (*event.notificationType != "permission_prompt" &&
                                     *event.notificationType != "idle_prompt")))
        return ReduceOutcome::ignore();

    SessionState next = state ? *state
                              : SessionState::make(event.sessionId, event.cwd, context.host,
                                                   context.terminalApp, context.pid, context.now);
    updateCommon(next, event, context);
    transition(next, event, context);
    return ReduceOutcome::write(std::move(next));
}

} // namespace ostrelvan::SessionReducer
