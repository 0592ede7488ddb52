#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ostrelvan::cli {

// Text as a terminal shows it: measured in columns, cut to fit, and made safe to print.
namespace TerminalText {

// Columns the UTF-8 text takes on a terminal, by wcwidth: two for wide (CJK, most emoji), none
// for combining marks. A byte that is not valid UTF-8 counts one, as its replacement will.
std::size_t columns(std::string_view text);

// `text` cut to at most `width` columns, ending with "…" when cut.
std::string truncated(std::string_view text, std::size_t width);

// `text` padded with spaces to `width` columns; longer text is left as it is.
std::string padded(std::string_view text, std::size_t width);

// Text from session files, transcripts and Claude Code's registry may hold anything. Line breaks
// and tabs become spaces; every other control character, a character the terminal cannot
// measure, a direction override and a byte that is not UTF-8 becomes U+FFFD, so nothing in it
// can move the cursor, change the screen or split a row.
std::string sanitized(std::string_view text);

// `text` broken at spaces into lines of at most `width` columns; a word longer than a line is
// broken across lines. Never empty.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

} // namespace TerminalText
} // namespace ostrelvan::cli
