#pragma once

#include "app/platform/Command.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace ostrelvan::Relaunch {

// A shell that waits until process `pid` has gone, polling every 0.2 s, and then starts the app
// again: on macOS it opens the bundle around `executable`; on Linux it runs `executable` with
// `arguments` (the original ones, program name excluded). Waiting first means the new instance
// never overlaps the old one.
Command command(std::int64_t pid, const std::filesystem::path& executable,
                const std::vector<std::string>& arguments);

} // namespace ostrelvan::Relaunch
