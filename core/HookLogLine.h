#pragma once

#include "core/Time.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan::HookLogLine {

// The helper's failures go to <data root>/hook.log, one "<time> <message>" line each, the time
// in the session files' date form. The helper writes the lines, the front end reads back when
// the last one was written.
inline constexpr const char* fileName = "hook.log";
inline constexpr std::size_t maxMessage = 1024;

// One line with its newline: control characters become spaces, and a message longer than
// maxMessage is cut and ends in "...".
std::string format(TimePoint at, std::string_view message);
// When a line was written; none for a line not in that form.
std::optional<TimePoint> timeOf(std::string_view line);

} // namespace ostrelvan::HookLogLine
