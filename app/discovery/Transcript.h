#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// Where Claude Code keeps a session's transcript, and how a title is read from its lines.
namespace ostrelvan::Transcript {

inline constexpr std::size_t tailBytes = 262144;
// Transcript lines this long or longer are never title lines (they hold tool output).
inline constexpr std::size_t maxTitleLineBytes = 4095;

// Claude Code's folder name for a project: every UTF-16 unit that is not an ASCII letter or digit
// becomes "-". Claude Code shortens names past 200 characters with a hash it does not document;
// such folders are found by scanning (TranscriptReader::locate).
std::string projectSlug(std::string_view cwd);
std::filesystem::path url(const std::filesystem::path& config, std::string_view cwd,
                          std::string_view sessionId);
// The title in a block of transcript lines: the last custom title, else the last generated one.
std::optional<std::string> title(std::string_view lines);

} // namespace ostrelvan::Transcript
