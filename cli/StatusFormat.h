#pragma once

#include "app/store/DisplayedSession.h"
#include "app/store/SessionGroup.h"
#include "cli/Notices.h"
#include "core/SessionStatus.h"
#include "core/Time.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan::cli {

// How the front end writes the store's lists: for people, for scripts, for status bars. Every
// text that came from a session file, a transcript or Claude Code's registry is sanitized before
// it reaches a terminal; only the JSON document (StatusDocument) carries it as it is.
namespace StatusFormat {

struct Style {
    bool colour = false;
    std::size_t width = 0; // columns a line may take; 0 for no limit
};

// A name column wider than this would push the statuses of every other row to the right.
inline constexpr std::size_t nameCap = 32;
inline constexpr std::size_t projectCap = 20;

// The glyph that stands for a status, so that the two orange ones differ without colour too:
// ● working  ▲ needs approval  ◆ awaiting review  ○ idle.
std::string glyph(SessionStatus status);
// The glyph, coloured as the widget colours its lamp.
std::string lamp(SessionStatus status, bool colour);

// One line of the session list: a group's header, or a session's row.
struct ListLine {
    std::string text;
    std::optional<std::size_t> session; // the row's index in the groups' sessions, in order
};

// Groups as the widget lists them: a header for a group of more than one session, then one row
// per session with its lamp, name, project (when it differs), status line and age. With a width,
// the name column is capped and names give way first: the status line and the age always show.
// The selected row is marked.
std::vector<ListLine> list(const std::vector<SessionGroup>& groups, TimePoint now,
                           const Style& style, std::optional<std::size_t> selected = std::nullopt);
// The list as text, one line each.
std::string human(const std::vector<SessionGroup>& groups, TimePoint now, const Style& style);
// Notice lines as text, sanitized and broken to the width.
std::string lines(const std::vector<std::string>& texts, std::size_t width);

enum class LineColour { none, terminal, tmux };
// A count per displayed status with its glyph; empty without sessions. Colour as terminal escape
// codes, or as tmux's own style codes for a status bar.
std::string line(const std::vector<DisplayedSession>& sessions, LineColour colour);

// When the next age label of these sessions changes.
std::optional<TimePoint> nextAgeChange(const std::vector<DisplayedSession>& sessions,
                                       TimePoint now);

} // namespace StatusFormat
} // namespace ostrelvan::cli
