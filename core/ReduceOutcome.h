#pragma once

#include "core/SessionState.h"

#include <optional>

namespace ostrelvan {

// What the file store must do after a reduce: write `state`, delete the session, or nothing.
struct ReduceOutcome {
    enum class Kind { write, remove, ignore };

    Kind kind = Kind::ignore;
    std::optional<SessionState> state; // present exactly for `write`

    static ReduceOutcome write(SessionState state) { return {Kind::write, std::move(state)}; }
    static ReduceOutcome remove() { return {Kind::remove, std::nullopt}; }
    static ReduceOutcome ignore() { return {Kind::ignore, std::nullopt}; }

    bool operator==(const ReduceOutcome&) const = default;
};

} // namespace ostrelvan
