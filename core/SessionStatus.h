#pragma once

#include "core/EnumText.h"

#include <array>
#include <string_view>

namespace ostrelvan {

enum class SessionStatus { working, needsApproval, awaitingReview, idle };

inline constexpr std::array allSessionStatuses{SessionStatus::working, SessionStatus::needsApproval,
                                               SessionStatus::awaitingReview, SessionStatus::idle};

template <> inline constexpr auto enumValues<SessionStatus> = allSessionStatuses;

std::string_view toString(SessionStatus status);

} // namespace ostrelvan
