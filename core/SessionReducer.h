#pragma once

#include "core/EventContext.h"
#include "core/HookEvent.h"
#include "core/ReduceOutcome.h"
#include "core/SessionState.h"

#include <optional>

namespace ostrelvan::SessionReducer {

// A "permission_prompt" this soon after an approval was resolved is a late echo of it.
inline constexpr double lateNotificationWindow = 10.0;

ReduceOutcome reduce(const std::optional<SessionState>& state, const HookEvent& event,
                     const EventContext& context);

} // namespace ostrelvan::SessionReducer
