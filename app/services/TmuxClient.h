#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan {

// A client attached to a tmux server, as `TmuxPane::listClients` lists it.
struct TmuxClient {
    long long activity = 0;
    std::int32_t pid = 0;
    std::string tty;

    // The most recently active client in that listing; lines that do not parse are skipped.
    static std::optional<TmuxClient> mostRecent(std::string_view listing);

    bool operator==(const TmuxClient&) const = default;
};

} // namespace ostrelvan
