#pragma once

#include "app/store/KeyValueStore.h"
#include "cli/CommandContext.h"

#include <cstddef>

namespace ostrelvan::cli {

enum class StatusOutput { human, json, line };

// `ostrelvan status`: one reload of the live machine, written out once; `tmux` colours the
// line for tmux's status bar.
int status(CommandContext& context, KeyValueStore& defaults, StatusOutput output, bool tmux);

// Whether lamps get colour: only on a terminal, and not when NO_COLOR is set.
bool wantsColour(const Environment& environment, int fd);

// The columns of the terminal on `fd`; 0 when it is not one.
std::size_t terminalWidth(int fd);

} // namespace ostrelvan::cli
