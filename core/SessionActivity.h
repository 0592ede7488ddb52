#pragma once

#include "core/EnumText.h"

#include <array>
#include <string_view>

namespace ostrelvan {

// What a working session is doing.
enum class SessionActivity {
    thinking,
    runningTests,
    runningCommands,
    coding,
    readingCode,
    researching,
    runningAgents,
    usingTools,
    compacting,
    working,
};

inline constexpr std::array allSessionActivities{
    SessionActivity::thinking,      SessionActivity::runningTests, SessionActivity::runningCommands,
    SessionActivity::coding,        SessionActivity::readingCode,  SessionActivity::researching,
    SessionActivity::runningAgents, SessionActivity::usingTools,   SessionActivity::compacting,
    SessionActivity::working,
};

template <> inline constexpr auto enumValues<SessionActivity> = allSessionActivities;

std::string_view toString(SessionActivity activity);

} // namespace ostrelvan
