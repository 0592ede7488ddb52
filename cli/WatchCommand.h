#pragma once

#include "CommandContext.h"
#include "KeyValueStore.h"

namespace ostrelvan::cli {

// `ostrelvan watch`: the live list, redrawn when the store publishes and when an age label
// changes; q or Ctrl-C leaves and gives the terminal back as it was.
int watch(CommandContext& context, KeyValueStore& defaults);

} // namespace ostrelvan::cli
