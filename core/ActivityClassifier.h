#pragma once

#include "core/SessionActivity.h"

#include <optional>
#include <string_view>

namespace ostrelvan::ActivityClassifier {

extern const char* const testPattern;

SessionActivity activity(std::string_view toolName, std::optional<std::string_view> command);
bool isTestCommand(std::string_view command);

} // namespace ostrelvan::ActivityClassifier
