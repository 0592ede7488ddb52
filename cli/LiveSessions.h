#pragma once

#include "app/store/AcknowledgedStore.h"
#include "app/store/KeyValueStore.h"
#include "app/store/SessionStore.h"
#include "cli/CommandContext.h"
#include "cli/Notices.h"
#include "core/ClaudeProcess.h"

#include <memory>
#include <vector>

namespace ostrelvan::cli {

// The store over this machine: the data folder's session files, Claude Code's registry, the
// process table, the user's acknowledgements and review fade; and what to say beside its lists.
class LiveSessions {
public:
    LiveSessions(const CommandContext& context, KeyValueStore& defaults);

    SessionStore& store() { return store_; }
    AcknowledgedStore& acknowledged() { return acknowledged_; }

    // The connection, the hook log, the data folder and the sessions still waiting for a prompt,
    // as of the store's latest reload.
    Notices notices() const;

private:
    const CommandContext& context_;
    AcknowledgedStore acknowledged_;
    // What the registry held at the latest reload, to count the agents not shown.
    std::shared_ptr<std::vector<ClaudeProcess>> processes_;
    SessionStore store_;
};

} // namespace ostrelvan::cli
