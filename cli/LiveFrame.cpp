#include "cli/LiveFrame.h"

#include "cli/StatusFormat.h"
#include "cli/TerminalText.h"
#include "core/DisplayRules.h"

#include <algorithm>
#include <array>

namespace ostrelvan::cli {

namespace {

using TerminalText::truncated;

constexpr std::array<std::string_view, 7> keyLines{
    "Keys",
    "  ↑ ↓  k j     select a session",
    "  PgUp PgDn    a page up or down",
    "  Home End     the first or the last session",
    "  Enter        go to the selected session",
    "  ?            show or hide these keys",
    "  q  Ctrl-C    leave",
};
constexpr std::string_view keyHint = "? keys · q quit";
// Below this many lines the title goes without the blank line under it.
constexpr std::size_t roomyHeight = 16;

std::vector<std::string> wrappedAll(const std::vector<std::string>& texts, std::size_t width) {
    std::vector<std::string> lines;
    for (const auto& text : texts) {
        for (auto& line : TerminalText::wrapped(TerminalText::sanitized(text), width)) {
            lines.push_back(std::move(line));
        }
    }
    return lines;
}

std::size_t sessionsIn(const std::vector<StatusFormat::ListLine>& lines, std::size_t from,
                       std::size_t to) {
    return static_cast<std::size_t>(std::count_if(lines.begin() + static_cast<std::ptrdiff_t>(from),
                                                  lines.begin() + static_cast<std::ptrdiff_t>(to),
                                                  [](const auto& l) { return l.session; }));
}

struct Window {
    std::size_t top = 0;
    std::size_t count = 0; // list lines shown
    bool above = false;    // a "+N more above" line first
    bool below = false;    // a "+N more" line last
};

Window place(std::size_t top, std::size_t total, std::size_t rows) {
    Window window{top, 0, top > 0, false};
    window.count = rows - (window.above ? 1 : 0);
    if (top + window.count < total) {
        window.below = true;
        --window.count;
    }
    window.count = std::min(window.count, total - top);
    return window;
}

// The lines shown of a list too long for `rows` lines: as close to last time's as keeps the
// selected line in sight, never hiding rows above when there is room for them.
Window scroll(const std::vector<StatusFormat::ListLine>& lines, std::size_t rows, std::size_t top,
              std::optional<std::size_t> selectedLine) {
    const std::size_t total = lines.size();
    if (total <= rows) {
        return {0, total, false, false};
    }
    if (rows == 0) {
        return {0, 0, false, false};
    }
    if (rows < 3) {
        // Room for one row and its marker at most: the selected row, or the first.
        const std::size_t line = selectedLine.value_or(0);
        Window window{line, 1, false, rows == 2 && line + 1 < total};
        return window;
    }
    for (int pass = 0; pass < 4; ++pass) {
        // No empty lines at the end while there are rows above to show instead.
        top = std::min(top, total - (rows - 1));
        if (top > 0 && sessionsIn(lines, 0, top) == 0) {
            top = 0; // a group's header alone is shown, not counted
        }
        const Window window = place(top, total, rows);
        if (!selectedLine || (*selectedLine >= top && *selectedLine < top + window.count)) {
            return window;
        }
        top = *selectedLine < top ? *selectedLine : *selectedLine + 1 - window.count;
    }
    return place(top, total, rows);
}

std::string fitted(const std::string& text, std::size_t width) {
    return width > 0 ? truncated(text, width) : text;
}

std::size_t sessionCount(const std::vector<SessionGroup>& groups) {
    std::size_t count = 0;
    for (const auto& group : groups) {
        count += group.sessions.size();
    }
    return count;
}

// The frame's parts from top to bottom, before they are fitted to the terminal's height.
struct Parts {
    std::vector<std::string> header; // the title, then a blank line
    std::vector<StatusFormat::ListLine> list;
    std::vector<std::string> body;     // what stands for the list: the keys or the empty state
    bool listing = false;              // the list is shown rather than the body
    bool gap = false;                  // a blank line above the warnings and the hint
    std::vector<std::string> warnings; // the notices under a list, and the last key's message
    std::vector<std::string> hint;

    std::size_t wanted() const { return listing ? list.size() : body.size(); }
};

std::vector<std::string> headerOf(const LiveFrame::Input& in, std::size_t count) {
    std::string title = "Ostrelvan";
    if (count > 0) {
        title += " · " + DisplayRules::sessionCountCaption(static_cast<int>(count));
    }
    title = fitted(title, in.width);
    std::vector<std::string> header{in.colour ? "\033[1m" + title + "\033[0m" : title};
    if (in.height == 0 || in.height >= roomyHeight) {
        header.emplace_back();
    }
    return header;
}

Parts partsOf(const LiveFrame::Input& in) {
    Parts parts;
    const std::size_t count = sessionCount(in.groups);
    parts.header = headerOf(in, count);
    parts.listing = count > 0 && !in.showingKeys;
    if (parts.listing) {
        parts.warnings = wrappedAll(in.notices.warnings(), in.width);
        parts.list = StatusFormat::list(in.groups, in.now, {in.colour, in.width},
                                        in.readsKeys ? in.selected : std::nullopt);
    } else if (in.showingKeys) {
        for (const auto line : keyLines) {
            parts.body.push_back(fitted(std::string(line), in.width));
        }
    } else {
        parts.body = wrappedAll(in.notices.emptyState(), in.width);
    }
    if (in.message) {
        const auto message = wrappedAll({*in.message}, in.width);
        parts.warnings.insert(parts.warnings.end(), message.begin(), message.end());
    }
    if (in.readsKeys) {
        parts.hint.push_back(fitted(std::string(keyHint), in.width));
    }
    parts.gap = !parts.warnings.empty() || !parts.hint.empty();
    return parts;
}

// What gives way when lines run short: the blank lines, the hint, then the warnings from their
// end; the list keeps three lines, or one on the smallest screens. The lines left for the list.
std::size_t fitToHeight(Parts& parts, std::size_t height) {
    const std::size_t wanted = parts.wanted();
    if (height == 0) {
        return wanted;
    }
    const std::size_t least = std::min<std::size_t>(wanted, height >= 6 ? 3 : 1);
    const auto spare = [&] {
        const std::size_t used =
            parts.header.size() + parts.warnings.size() + parts.hint.size() + (parts.gap ? 1 : 0);
        return height > used ? height - used : 0;
    };
    if (spare() < least || spare() < wanted) {
        parts.gap = false;
    }
    if (spare() < least && parts.header.size() > 1) {
        parts.header.pop_back();
    }
    if (spare() < least) {
        parts.hint.clear();
    }
    while (spare() < least && !parts.warnings.empty()) {
        parts.warnings.pop_back();
    }
    if (spare() < least) {
        parts.header.clear();
    }
    return std::min(wanted, spare());
}

std::optional<std::size_t> lineOf(const std::vector<StatusFormat::ListLine>& list,
                                  std::optional<std::size_t> session) {
    std::optional<std::size_t> found;
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (session && list[i].session == session) {
            found = i;
        }
    }
    return found;
}

// The list's lines that fit in `rows`, with what is out of sight counted above and below.
void appendList(LiveFrame& frame, const std::vector<StatusFormat::ListLine>& list, std::size_t rows,
                const LiveFrame::Input& in) {
    const Window window = scroll(list, rows, in.top, lineOf(list, in.selected));
    if (window.above) {
        frame.lines.push_back(fitted(
            "  +" + std::to_string(sessionsIn(list, 0, window.top)) + " more above", in.width));
    }
    for (std::size_t i = window.top; i < window.top + window.count; ++i) {
        frame.lines.push_back(list[i].text);
    }
    if (window.below) {
        const std::size_t hidden = sessionsIn(list, window.top + window.count, list.size());
        frame.lines.push_back(fitted("  +" + std::to_string(hidden) + " more", in.width));
    }
    frame.top = window.top;
    frame.pageSize =
        std::max<std::size_t>(1, sessionsIn(list, window.top, window.top + window.count));
}

} // namespace

LiveFrame LiveFrame::compose(const Input& in) {
    Parts parts = partsOf(in);
    const std::size_t rows = fitToHeight(parts, in.height);

    LiveFrame frame;
    frame.top = in.top;
    frame.lines = parts.header;
    if (parts.listing) {
        appendList(frame, parts.list, rows, in);
    } else {
        frame.lines.insert(frame.lines.end(), parts.body.begin(),
                           parts.body.begin() + static_cast<std::ptrdiff_t>(rows));
    }
    if (parts.gap) {
        frame.lines.emplace_back();
    }
    frame.lines.insert(frame.lines.end(), parts.warnings.begin(), parts.warnings.end());
    frame.lines.insert(frame.lines.end(), parts.hint.begin(), parts.hint.end());
    return frame;
}

} // namespace ostrelvan::cli
