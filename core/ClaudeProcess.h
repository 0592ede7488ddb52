#pragma once

#include "core/Time.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ostrelvan {

// One validated record of Claude Code's own session registry (<config>/sessions/<pid>.json).
struct ClaudeProcess {
    std::int32_t pid = 0;
    std::string sessionId;
    std::string cwd;
    std::optional<std::string> kind;
    std::optional<std::string> entrypoint;
    std::optional<std::string> status;
    std::optional<std::string> waitingFor;
    TimePoint startedAt;
    std::optional<TimePoint> updatedAt;
    std::optional<TimePoint> statusUpdatedAt;

    bool operator==(const ClaudeProcess&) const = default;
};

} // namespace ostrelvan
