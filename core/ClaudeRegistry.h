#pragma once

#include "base/Environment.h"
#include "core/ClaudeProcess.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrelvan::ClaudeRegistry {

// CLAUDE_CONFIG_DIR when set and non-empty, else <home>/.claude.
std::filesystem::path configDirectory(const std::filesystem::path& home,
                                      const Environment& environment);
std::filesystem::path sessionsDirectory(const std::filesystem::path& config);
// Every folder that is Claude Code's own: <home>/.claude, and CLAUDE_CONFIG_DIR when it points
// elsewhere (the home folder's one still holds what an earlier configuration left there).
std::vector<std::filesystem::path> ownFolders(const std::filesystem::path& home,
                                              const Environment& environment);

// Reads one file whole; none when it cannot be read (missing, a folder, unreadable).
using FileReader = std::function<std::optional<std::string>(const std::filesystem::path&)>;
std::optional<std::string> readFile(const std::filesystem::path& path);

// Valid records sorted by pid. A record that fails to decode is read once more before it is
// skipped: Claude Code rewrites records in place, so a read can catch one half-written.
std::vector<ClaudeProcess> load(const std::filesystem::path& directory);
std::vector<ClaudeProcess> load(const std::filesystem::path& directory, const FileReader& read);
// The same with the read and decode of one record injected (e.g. one that reuses earlier
// decodes); a record it returns none for is asked for once more.
using RecordReader = std::function<std::optional<ClaudeProcess>(const std::filesystem::path&)>;
std::vector<ClaudeProcess> loadRecords(const std::filesystem::path& directory,
                                       const RecordReader& read);
std::optional<ClaudeProcess> decode(std::string_view data);

} // namespace ostrelvan::ClaudeRegistry
