#pragma once

#include "Environment.h"

#include <filesystem>

namespace ostrelvan::DataPaths {

// OSTRELVAN_DATA_DIR when set and non-empty; otherwise the user's data folder + "Ostrelvan"
// ($XDG_DATA_HOME or ~/.local/share on Linux, ~/Library/Application Support on macOS).
std::filesystem::path root(const Environment& environment);
std::filesystem::path sessions(const Environment& environment);
std::filesystem::path helper(const Environment& environment);

} // namespace ostrelvan::DataPaths
