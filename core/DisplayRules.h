#pragma once

#include "core/SessionActivity.h"
#include "core/SessionState.h"
#include "core/SessionStatus.h"
#include "core/Time.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrelvan::DisplayRules {

inline constexpr double reviewToIdle = 600;
inline constexpr double staleAfter = 21600;
inline constexpr double abandonedAfter = 172800;

bool isStale(const SessionState& state, TimePoint now);
bool isAbandoned(const SessionState& state, TimePoint now);

// An awaitingReview session shows idle once acknowledged at or after its statusSince (a later
// "idle_prompt" moves lastEvent but not statusSince), or once the review fade has passed.
SessionStatus displayStatus(const SessionState& state, TimePoint now,
                            std::optional<TimePoint> acknowledgedAt,
                            std::optional<double> reviewFade);

// Hides a session never given a prompt, and one run inside any of Claude Code's own folders
// (`claudeFolders`, see ClaudeRegistry::ownFolders), such as its internal helper runs.
bool isShown(const SessionState& state, const std::vector<std::filesystem::path>& claudeFolders,
             bool hasTranscript);

std::vector<SessionState> ordered(std::vector<SessionState> states);

using WindowKey = std::function<std::string(const SessionState&)>;
std::vector<std::vector<SessionState>> grouped(std::vector<SessionState> states,
                                               const WindowKey& window);

// Session id to row name, for the rows of all groups: the trimmed title when there is one, else the
// project; rows that would read the same get " #2", " #3"… in display order, the first keeps it.
std::map<std::string, std::string> names(const std::vector<std::vector<SessionState>>& groups);

std::string activityLabel(SessionActivity activity);
std::string statusLine(const SessionState& state, SessionStatus status);
// "now" under a minute, then whole minutes ("5m"), hours ("3h") and days ("2d").
std::string elapsed(TimePoint since, TimePoint now);
// The first moment after `now` at which elapsed(since, ·) reads differently.
TimePoint elapsedChangesAt(TimePoint since, TimePoint now);
std::string sessionCountCaption(int count);

} // namespace ostrelvan::DisplayRules
