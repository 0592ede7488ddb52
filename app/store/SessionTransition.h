#pragma once

#include "core/SessionStatus.h"

#include <optional>
#include <string>

namespace ostrelvan {

// A displayed status that changed between two reloads; `from` is none for a session that was not
// displayed before.
struct SessionTransition {
    std::string sessionId;
    std::optional<SessionStatus> from;
    SessionStatus to = SessionStatus::idle;

    bool operator==(const SessionTransition&) const = default;
};

} // namespace ostrelvan
