#pragma once

#include "EnumText.h"

#include <array>
#include <string_view>

namespace ostrelvan {

enum class SessionStatus { working, needsApproval, awaitingReview, idle };

inline constexpr std::array allSessionStatuses{SessionStatus::working, SessionStatus::needsApproval,
                                               SessionStatus::awaitingReview, SessionStatus::idle};

std::string_view toString(SessionStatus status);
template <> std::optional<SessionStatus> fromString<SessionStatus>(std::string_view text);

} // namespace ostrelvan
