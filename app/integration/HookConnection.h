#pragma once

#include "app/integration/HookInstaller.h"

#include <filesystem>
#include <optional>

namespace ostrelvan {

// Where the connection lives: Claude Code's settings file, the installed helper the entries run,
// and the bundled helper it is copied from.
struct HookPaths {
    std::filesystem::path settingsFile;
    std::filesystem::path helper;
    std::optional<std::filesystem::path> bundledHelper;
    bool operator==(const HookPaths&) const = default;
};

enum class HookHealth {
    intact,     // all eleven events run this helper, once each
    missing,    // no entry of ours at all
    broken,     // some of ours, but not one on each of the eleven for this helper
    unreadable, // the settings file could not be read or parsed
};

struct ConnectReport {
    bool helperExisted = false;
    bool helperChanged = false; // copied anew (created or replaced)
    // None when the entries were in place already: nothing was written, the backup left alone.
    std::optional<HookInstaller::SettingsWrite> settingsWrite;
    bool operator==(const ConnectReport&) const = default;
};

// Connecting and disconnecting as the user's actions do them, over real files.
namespace HookConnection {

// Refreshes the helper, then installs the entries, writing the settings file only when that
// changes it. Any failure is thrown before the settings file is touched.
ConnectReport connect(const HookPaths& paths);

// None when there was nothing of ours to remove; the helper file stays.
std::optional<HookInstaller::SettingsWrite> disconnect(const HookPaths& paths);

HookHealth health(const HookPaths& paths);

} // namespace HookConnection

} // namespace ostrelvan
