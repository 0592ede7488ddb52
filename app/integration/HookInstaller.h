#pragma once

#include "app/integration/HookInstallerError.h"

#include <array>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

// Edits Claude Code's settings.json so that it runs the hook helper on the eleven hook events,
// tells whether that installation is intact, and takes it out again. Entries that this program
// did not write are never touched, and a file that does not parse is never written.
namespace ostrelvan::HookInstaller {

// The whole top-level object of settings.json; every key not touched here is written back as read.
using Settings = nlohmann::json;

struct Event {
    std::string_view name;
    std::optional<std::string_view> matcher;
    // Seconds Claude Code lets the helper run. A permission request may wait for the user's
    // answer from the desktop app, as long as Claude Code's own default; every other event is
    // recorded at once.
    int timeout = 5;
};

inline constexpr std::array<Event, 11> events{{
    {"SessionStart", std::nullopt},
    {"SessionEnd", std::nullopt},
    {"UserPromptSubmit", std::nullopt},
    {"PreToolUse", "*"},
    {"PostToolUse", "*"},
    {"PostToolUseFailure", "*"},
    {"PermissionRequest", "*", 600},
    {"Notification", std::nullopt},
    {"Stop", std::nullopt},
    {"SubagentStart", std::nullopt},
    {"PreCompact", std::nullopt},
}};

// The tail of the helper's path under the default data directory: commands containing it are ours,
// whatever data directory they were written for.
inline constexpr std::string_view marker = "/Ostrelvan/bin/ostrelvan-hook";

inline constexpr std::string_view backupSuffix = ".ostrelvan-backup";

// What a write did, so the user can be told.
struct SettingsWrite {
    std::filesystem::path file;                  // the file actually written (links resolved)
    std::optional<std::filesystem::path> backup; // none when there was no file to back up
    bool operator==(const SettingsWrite&) const = default;
};

// A missing, empty or whitespace-only file is an empty document. Throws HookInstallerError
// (invalidJSON, naming `url`) when the content is not a JSON object, and read errors as they are.
Settings readSettings(const std::filesystem::path& url);

// The content rules of readSettings, for bytes already read from `url`.
Settings parseSettings(std::string_view content, const std::filesystem::path& url);

// Backs up the existing file beside `url`, then replaces the file atomically. A symbolic link at
// `url` is followed: its target is written and the link stays.
SettingsWrite writeSettings(const Settings& settings, const std::filesystem::path& url);

// Reads the settings, applies `change` and writes the result (as writeSettings does) when it
// differs; none when nothing changed. The file is read again just before it is replaced: when it
// changed meanwhile (the user's editor saved it), the change starts over from the new content, so
// an edit is never replaced by a document computed from the one before it. Throws
// std::system_error (EAGAIN) when the file keeps changing, leaving it as the user last wrote it.
std::optional<SettingsWrite> update(const std::filesystem::path& url,
                                    const std::function<Settings(const Settings&)>& change);

// The exact serialised form written: pretty, sorted keys, slashes as they are.
std::string serialise(const Settings& settings);

// The hook command for a helper path, as /bin/sh reads it: the path in double quotes, so spaces
// survive; a path holding a character that stays special inside double quotes (", $, ` or \) in
// single quotes instead, each ' in it written '\''.
std::string command(std::string_view helperPath);

// The command runs exactly this helper: the command written now, or the double-quoted path that
// earlier versions wrote for any path.
bool runsHelper(std::string_view command, std::string_view helperPath);

// An object whose "hooks" is a non-empty array of objects whose "command"s each carry the marker or
// run exactly `helperPath`.
bool isOwned(const nlohmann::json& entry, std::string_view helperPath);

Settings installing(const Settings& settings, std::string_view helperPath);
Settings removing(const Settings& settings, std::string_view helperPath);
// Each of the eleven events has exactly one owned entry, and it runs command(helperPath) with the
// event's timeout: a second one would run a helper twice for every event, and an entry written by
// an earlier version with another timeout is brought up to date by installing again.
bool isInstalled(const Settings& settings, std::string_view helperPath);

// Removes the owned entries; writes (with a backup) only when there were some.
std::optional<SettingsWrite> disconnect(const std::filesystem::path& settingsURL,
                                        std::string_view helperPath);

} // namespace ostrelvan::HookInstaller
