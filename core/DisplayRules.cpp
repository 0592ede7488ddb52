#include "core/DisplayRules.h"

#include <algorithm>
#include <cmath>

namespace ostrelvan::DisplayRules {

bool isStale(const SessionState& state, TimePoint now) {
    return secondsBetween(state.lastEvent, now) > staleAfter;
}

bool isAbandoned(const SessionState& state, TimePoint now) {
    return secondsBetween(state.lastEvent, now) > abandonedAfter;
}

SessionStatus displayStatus(const SessionState& state, TimePoint now,
                            std::optional<TimePoint> acknowledgedAt,
                            std::optional<double> reviewFade) {
    if (state.status != SessionStatus::awaitingReview)
        return state.status;
    if (acknowledgedAt && *acknowledgedAt >= state.statusSince)
        return SessionStatus::idle;
    if (!reviewFade)
        return SessionStatus::awaitingReview;
    return secondsBetween(state.statusSince, now) > *reviewFade ? SessionStatus::idle
                                                                : SessionStatus::awaitingReview;
}

namespace {
bool isInside(std::string_view folder, std::string_view parent) {
    if (parent.ends_with('/'))
        parent.remove_suffix(1);
    return !parent.empty() && folder.starts_with(parent) &&
           (folder.size() == parent.size() || folder[parent.size()] == '/');
}
} // namespace

bool isShown(const SessionState& state, const std::vector<std::filesystem::path>& claudeFolders,
             bool hasTranscript) {
    if (!state.startedConversation.value_or(hasTranscript))
        return false;
    return std::none_of(claudeFolders.begin(), claudeFolders.end(),
                        [&](const auto& own) { return isInside(state.folder(), own.native()); });
}

std::vector<SessionState> ordered(std::vector<SessionState> states) {
    std::stable_sort(states.begin(), states.end(), [](const auto& a, const auto& b) {
        if (a.firstSeen != b.firstSeen)
            return a.firstSeen < b.firstSeen;
        return a.sessionId < b.sessionId;
    });
    return states;
}

std::vector<std::vector<SessionState>> grouped(std::vector<SessionState> states,
                                               const WindowKey& window) {
    std::vector<std::vector<SessionState>> groups;
    std::vector<std::string> keys;
    for (SessionState& state : ordered(std::move(states))) {
        std::string key = window(state);
        auto found = std::find(keys.begin(), keys.end(), key);
        if (found == keys.end()) {
            keys.push_back(std::move(key));
            groups.emplace_back();
            groups.back().push_back(std::move(state));
        } else {
            groups[static_cast<std::size_t>(found - keys.begin())].push_back(std::move(state));
        }
    }
    return groups;
}

namespace {

std::string baseName(const SessionState& state) {
    if (state.title) {
        constexpr std::string_view blanks = " \t\n\r\v\f";
        auto first = state.title->find_first_not_of(blanks);
        if (first != std::string::npos) {
            auto last = state.title->find_last_not_of(blanks);
            return state.title->substr(first, last - first + 1);
        }
    }
    return state.project();
}

} // namespace

// A row reads as its title, else its project; repeats across all groups get " #2", " #3"… in
// display order, the first keeping the plain name.
std::map<std::string, std::string> names(const std::vector<std::vector<SessionState>>& groups) {
    std::map<std::string, int> seen;
    std::map<std::string, std::string> result;
    for (const auto& group : groups)
        for (const SessionState& state : group) {
            std::string name = baseName(state);
            int count = ++seen[name];
            if (count > 1)
                name += " #" + std::to_string(count);
            result[state.sessionId] = std::move(name);
        }
    return result;
}

std::string activityLabel(SessionActivity activity) {
    switch (activity) {
    case SessionActivity::thinking:
    case SessionActivity::working:
        return "Working\u2026";
    case SessionActivity::runningTests:
        return "Running tests\u2026";
    case SessionActivity::runningCommands:
        return "Running commands\u2026";
    case SessionActivity::coding:
        return "Coding\u2026";
    case SessionActivity::readingCode:
        return "Reading code\u2026";
    case SessionActivity::researching:
        return "Researching\u2026";
    case SessionActivity::runningAgents:
        return "Running agents\u2026";
    case SessionActivity::usingTools:
        return "Using tools\u2026";
    case SessionActivity::compacting:
        return "Compacting\u2026";
    }
    return "Working\u2026";
}

std::string statusLine(const SessionState& state, SessionStatus status) {
    constexpr std::string_view separator = " \u00B7 ";
    switch (status) {
    case SessionStatus::idle:
        return "Idle";
    case SessionStatus::awaitingReview:
        if (state.backgroundTasks <= 0)
            return "Awaiting review";
        if (state.backgroundTasks == 1)
            return std::string("Awaiting review") + std::string(separator) + "1 background task";
        return std::string("Awaiting review") + std::string(separator) +
               std::to_string(state.backgroundTasks) + " background tasks";
    case SessionStatus::needsApproval: {
        bool question =
            state.tool == "AskUserQuestion" ||
            (state.pendingApproval && state.pendingApproval->starts_with("AskUserQuestion|"));
        std::string line = question ? "Needs your answer" : "Needs approval";
        if (state.detail)
            line += std::string(separator) + *state.detail;
        return line;
    }
    case SessionStatus::working:
        return activityLabel(state.activity);
    }
    return "Idle";
}

namespace {

// The units elapsed() counts in: each is used from its own length up to the next one's.
constexpr double minute = 60;
constexpr double hour = 3600;
constexpr double day = 86400;

double elapsedStep(double seconds) {
    return seconds < hour ? minute : seconds < day ? hour : day;
}

} // namespace

std::string elapsed(TimePoint since, TimePoint now) {
    const double d = secondsBetween(since, now);
    if (!(d >= minute))
        return "now";
    return std::to_string(static_cast<long long>(d / elapsedStep(d))) + (d < hour  ? "m"
                                                                         : d < day ? "h"
                                                                                   : "d");
}

TimePoint elapsedChangesAt(TimePoint since, TimePoint now) {
    const double d = secondsBetween(since, now);
    const double step = elapsedStep(d);
    return addSeconds(since, d < minute ? minute : (std::floor(d / step) + 1) * step);
}

std::string sessionCountCaption(int count) {
    if (count == 1)
        return "1 Claude Code session";
    return std::to_string(count) + " Claude Code sessions";
}

} // namespace ostrelvan::DisplayRules
