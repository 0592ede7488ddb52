#pragma once

#include "CommandContext.h"
#include "KeyValueStore.h"

namespace ostrelvan::cli {

enum class StatusOutput { human, json, line };

// `ostrelvan status`: one reload of the live machine, written out once.
int status(CommandContext& context, KeyValueStore& defaults, StatusOutput output);

// Whether lamps get colour: only on a terminal, and not when NO_COLOR is set.
bool wantsColour(const Environment& environment, int fd);

} // namespace ostrelvan::cli
