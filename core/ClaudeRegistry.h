#pragma once

#include "ClaudeProcess.h"
#include "Environment.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrelvan::ClaudeRegistry {

inline constexpr std::size_t titleTailBytes = 262144;

// CLAUDE_CONFIG_DIR when set and non-empty, else <home>/.claude.
std::filesystem::path configDirectory(const std::filesystem::path& home,
                                      const Environment& environment);
std::filesystem::path sessionsDirectory(const std::filesystem::path& config);

// Valid records sorted by pid. A record that fails to decode is read once more before it is
// skipped: Claude Code rewrites records in place, so a read can catch one half-written.
std::vector<ClaudeProcess> load(const std::filesystem::path& directory);
std::optional<ClaudeProcess> decode(std::string_view data);

std::string projectSlug(std::string_view cwd);
std::filesystem::path transcriptURL(const std::filesystem::path& config, std::string_view cwd,
                                    std::string_view sessionId);
std::optional<std::string> title(std::string_view transcriptTail);

} // namespace ostrelvan::ClaudeRegistry
