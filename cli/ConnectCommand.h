#pragma once

#include "cli/CommandContext.h"

#include <optional>
#include <string>

namespace ostrelvan::cli {

// `ostrelvan connect`: refresh the installed helper, install the hook entries, remember that the
// user connected. Says what it did; on error says why, exits non-zero and leaves the file as it
// was.
int connect(CommandContext& context);

// `ostrelvan disconnect`: remove the owned entries; the helper file stays.
int disconnect(CommandContext& context);

// The start-up repair: when the user connected and the entries are no longer intact, log
// "repairing hook entries" and reconnect. Never fails the caller.
void repairHooksIfNeeded(CommandContext& context);

// What `ostrelvan status` says about the connection: "Not connected to Claude Code" when never
// connected, a warning when connected but the entries are missing or broken, none when intact.
std::optional<std::string> connectionNotice(const CommandContext& context);

} // namespace ostrelvan::cli
