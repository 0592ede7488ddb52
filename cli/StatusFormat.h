#pragma once

#include "DisplayedSession.h"
#include "SessionGroup.h"
#include "SessionStatus.h"
#include "Time.h"

#include <optional>
#include <string>
#include <vector>

namespace ostrelvan::cli {

// How the front end writes the store's lists: for people, for scripts, for status bars.
namespace StatusFormat {

struct Style {
    bool colour = false;
    std::size_t width = 0; // columns a line may take; 0 for no limit
};

// The status lamp, coloured as the widget colours it.
std::string lamp(SessionStatus status, bool colour);
// The glyph that stands for a status where colour may not show (`status --line`).
std::string glyph(SessionStatus status);

// Groups as the widget lists them: a header for a group of more than one session, then one line
// per session with its lamp, name, project (when it differs), status line and age.
std::string human(const std::vector<SessionGroup>& groups, TimePoint now, const Style& style);
// What the widget says when there is nothing to list.
std::string emptyState(const std::optional<std::string>& connectionNotice);
// One JSON object with raw enumeration texts and the session files' date form.
std::string json(const std::vector<SessionGroup>& groups);
// A count per displayed status with its glyph; empty without sessions.
std::string line(const std::vector<DisplayedSession>& sessions, bool colour);

// When the next age label of these sessions changes.
std::optional<TimePoint> nextAgeChange(const std::vector<DisplayedSession>& sessions,
                                       TimePoint now);

// Columns taken by UTF-8 text, counting code points.
std::size_t columns(const std::string& text);
// `text` cut to `width` columns, ending with "…" when cut.
std::string truncated(const std::string& text, std::size_t width);

} // namespace StatusFormat
} // namespace ostrelvan::cli
