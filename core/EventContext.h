#pragma once

#include "core/SessionHost.h"
#include "core/Time.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ostrelvan {

// The circumstances of one hook invocation; every time the reducer writes comes from `now`.
struct EventContext {
    TimePoint now;
    SessionHost host = SessionHost::terminal;
    std::optional<std::string> terminalApp;
    std::optional<std::int32_t> pid;

    bool operator==(const EventContext&) const = default;
};

} // namespace ostrelvan
