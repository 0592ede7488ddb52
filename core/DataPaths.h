#pragma once

#include "base/Environment.h"

#include <filesystem>
#include <optional>

namespace ostrelvan::DataPaths {

// Beside an installed helper (<root>/bin/ostrelvan-hook): marks it as the copy installed for that
// root, which it records into whatever environment it is started with.
inline constexpr const char* installedMarker = "ostrelvan-hook.installed";

// OSTRELVAN_DATA_DIR when set and non-empty; otherwise the user's data folder + "Ostrelvan"
// ($XDG_DATA_HOME or ~/.local/share on Linux, ~/Library/Application Support on macOS).
std::filesystem::path root(const Environment& environment);
std::filesystem::path sessions(const Environment& environment);
std::filesystem::path helper(const Environment& environment);

// The same for a known root.
std::filesystem::path sessions(const std::filesystem::path& root);
std::filesystem::path helper(const std::filesystem::path& root);
// The local socket the desktop app listens on while it answers permission requests.
std::filesystem::path permissionSocket(const std::filesystem::path& root);
// Where the hook helper writes its failures (see HookLogLine).
std::filesystem::path hookLog(const std::filesystem::path& root);

} // namespace ostrelvan::DataPaths
