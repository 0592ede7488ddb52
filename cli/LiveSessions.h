#pragma once

#include "AcknowledgedStore.h"
#include "CommandContext.h"
#include "KeyValueStore.h"
#include "SessionStore.h"

namespace ostrelvan::cli {

// The store over this machine: the data folder's session files, Claude Code's registry, the
// process table, the user's acknowledgements and review fade.
class LiveSessions {
public:
    LiveSessions(const CommandContext& context, KeyValueStore& defaults);

    SessionStore& store() { return store_; }
    AcknowledgedStore& acknowledged() { return acknowledged_; }

private:
    AcknowledgedStore acknowledged_;
    SessionStore store_;
};

} // namespace ostrelvan::cli
