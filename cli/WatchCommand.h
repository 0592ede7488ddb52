#pragma once

#include "app/services/SessionOpening.h"
#include "app/store/KeyValueStore.h"
#include "cli/CommandContext.h"

namespace ostrelvan::cli {

// `ostrelvan watch`: the live view over this machine; q or Ctrl-C leaves and gives the terminal
// back as it was. Enter goes to the selected session as `ostrelvan open` does, through `opening`.
int watch(CommandContext& context, KeyValueStore& defaults, SessionOpening& opening);

} // namespace ostrelvan::cli
