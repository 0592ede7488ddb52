#pragma once

#include "core/HookEvent.h"

#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan::ApprovalDetail {

inline constexpr int maxLength = 60;

// Two tool calls with the same signature are taken to be the same call.
std::string signature(const HookEvent& event);
// The short text shown for a pending approval, by tool.
std::optional<std::string> describe(const HookEvent& event);
std::string firstLine(std::string_view text);

} // namespace ostrelvan::ApprovalDetail
