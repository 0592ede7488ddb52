#pragma once

#include "app/platform/Command.h"
#include "base/Environment.h"

#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan {

// The tmux pane an agent runs in, and the server that holds it.
struct TmuxPane {
    // The server's socket; none means tmux's own choice (its default server).
    std::optional<std::string> socket;
    std::string pane; // "%<number>", unique within its server

    // From the agent's TMUX ("<socket>,<server pid>,<session>") and TMUX_PANE.
    static std::optional<TmuxPane> fromEnvironment(const Environment& environment);
    // From Claude Code's registry record: "<session>:@<window>.%<pane>".
    static std::optional<TmuxPane> fromRegistry(std::string_view field);

    // tmux with `arguments`, addressed to this pane's server.
    Command command(const Command& arguments) const;
    // Every client's last activity, pid and tty, one per line.
    Command listClients() const;
    // One invocation that selects the pane's window and the pane, then shows the pane's session
    // in the client on `clientTty` when there is one.
    Command select(const std::optional<std::string>& clientTty) const;

    bool operator==(const TmuxPane&) const = default;
};

} // namespace ostrelvan
