#include "core/SessionMerge.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

namespace ostrelvan::SessionMerge {

namespace {

bool isInteractive(const ClaudeProcess& process) {
    return !process.kind || *process.kind == "interactive";
}

bool registryChangedAfter(const ClaudeProcess& process, std::string_view status,
                          TimePoint lastEvent) {
    return process.status == status && process.statusUpdatedAt &&
           *process.statusUpdatedAt > lastEvent;
}

// No hook fires when the user interrupts a turn or refuses a permission, and auto mode can ask
// for approval without one: Claude Code's own record is then the newer word.
void applyRegistryStatus(SessionState& state, const ClaudeProcess& process) {
    const bool busy =
        state.status == SessionStatus::working || state.status == SessionStatus::needsApproval;
    if (busy && registryChangedAfter(process, "idle", state.lastEvent)) {
        state.status = SessionStatus::idle;
        state.statusSince = *process.statusUpdatedAt;
        state.tool.reset();
        state.detail.reset();
        state.pendingApproval.reset();
    } else if (state.status == SessionStatus::working &&
               registryChangedAfter(process, "waiting", state.lastEvent)) {
        state.status = SessionStatus::needsApproval;
        state.statusSince = *process.statusUpdatedAt;
    }
}

SessionState mergedState(SessionState state, const ClaudeProcess& process) {
    state.root = process.cwd;
    state.pid = process.pid;
    state.firstSeen = std::min(state.firstSeen, process.startedAt);
    applyRegistryStatus(state, process);
    return state;
}

} // namespace

std::vector<SessionState> merge(const std::vector<SessionState>& hooks,
                                const std::vector<ClaudeProcess>& processes) {
    std::vector<const ClaudeProcess*> kept;
    for (const ClaudeProcess& process : processes) {
        if (isInteractive(process)) {
            kept.push_back(&process);
        }
    }
    std::map<std::string_view, const SessionState*> hookById;
    for (const SessionState& state : hooks) {
        hookById.emplace(state.sessionId, &state);
    }
    std::set<std::int32_t> livePids;
    std::set<std::string_view> liveIds;
    for (const ClaudeProcess* process : kept) {
        livePids.insert(process->pid);
        liveIds.insert(process->sessionId);
    }

    std::vector<SessionState> result;
    result.reserve(kept.size() + hooks.size());
    for (const ClaudeProcess* process : kept) {
        const auto hook = hookById.find(process->sessionId);
        result.push_back(hook != hookById.end() ? mergedState(*hook->second, *process)
                                                : state(*process));
    }
    for (const SessionState& hook : hooks) {
        const bool emitted = liveIds.contains(hook.sessionId);
        const bool replaced = hook.pid && livePids.contains(*hook.pid);
        if (!emitted && !replaced) {
            result.push_back(hook);
        }
    }
    return result;
}

SessionState state(const ClaudeProcess& process) {
    SessionState s;
    s.schema = SessionState::currentSchema;
    s.sessionId = process.sessionId;
    s.cwd = process.cwd;
    if (!process.cwd.empty()) {
        s.root = process.cwd;
    }
    s.host = process.entrypoint == "claude-vscode" ? SessionHost::vscode : SessionHost::terminal;
    s.pid = process.pid;
    if (process.status == "busy") {
        s.status = SessionStatus::working;
    } else if (process.status == "waiting") {
        s.status = SessionStatus::needsApproval;
    } else {
        s.status = SessionStatus::idle;
    }
    s.activity = SessionActivity::working;
    s.backgroundTasks = 0;
    s.firstSeen = process.startedAt;
    s.statusSince = process.statusUpdatedAt.value_or(process.startedAt);
    s.lastEvent = process.updatedAt.value_or(process.startedAt);
    return s;
}

} // namespace ostrelvan::SessionMerge
