#pragma once

#include "core/Time.h"

#include <filesystem>
#include <string_view>

namespace ostrelvan::HookLog {

// hook.log is rotated to hook.log.1 once it reaches this size, so the pair stays under twice it.
inline constexpr long rotateAt = 32L * 1024;

// Appends HookLogLine::format(now, message) to DataPaths::hookLog(root), creating the root 0700 and
// the log 0600. Never throws; a log that cannot be written is given up on silently.
void append(const std::filesystem::path& root, TimePoint now, std::string_view message) noexcept;

} // namespace ostrelvan::HookLog
