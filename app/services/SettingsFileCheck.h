#pragma once

#include "app/services/AppSettings.h"
#include "app/store/SettingsKeyValueStore.h"

#include <QString>
#include <optional>
#include <string>
#include <string_view>

// The user's settings file may be half-written (a crash during a write, a full disk), unreadable,
// or in a folder that cannot be written. None of that stops the app: it runs on what it could
// read and says so. QSettings reads a damaged INI file as far as it can and would write back only
// that part, so a copy of the damaged file is kept first.
namespace ostrelvan::SettingsFileCheck {

// Where INI text is not what QSettings writes ("line 3 is cut short"); none when it is whole.
std::optional<std::string> damage(std::string_view content);

// Before anything is written: logs a file that could not be read; for a damaged INI file (.conf,
// .ini) keeps a copy at "<file>.damaged-<time>", logs where, and returns the copy's path.
std::optional<QString> inspect(SettingsKeyValueStore& defaults);

// Logs once when a change could not be written.
void watchWrites(SettingsKeyValueStore& defaults, AppSettings& settings);

} // namespace ostrelvan::SettingsFileCheck
