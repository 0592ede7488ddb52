#pragma once

#include "base/Environment.h"

#include <filesystem>

// Starting the app when the user logs in: the main-app login item on macOS, an XDG autostart
// entry ($XDG_CONFIG_HOME/autostart/ostrelvan.desktop, ~/.config when unset) on Linux.
namespace ostrelvan::LaunchAtLogin {

// What the system says now, not what was last asked for.
bool isEnabled(const Environment& environment);

// Registers `executable` to start at login, or removes that. Throws std::runtime_error (with a
// readable text) when the system refuses.
void set(bool enabled, const Environment& environment, const std::filesystem::path& executable);

} // namespace ostrelvan::LaunchAtLogin
