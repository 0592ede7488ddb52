#pragma once

#include "core/SessionState.h"
#include "core/SessionStatus.h"

#include <string>

namespace ostrelvan {

// One row as the store publishes it: the merged state (titled from its transcript), the status
// to show after fading and acknowledgement, and the row's name.
struct DisplayedSession {
    SessionState state;
    SessionStatus status = SessionStatus::idle;
    std::string name;

    const std::string& id() const { return state.sessionId; }

    bool operator==(const DisplayedSession&) const = default;
};

} // namespace ostrelvan
