#include "cli/LiveFrame.h"

#include "core/DisplayRules.h"
#include "cli/StatusFormat.h"
#include "cli/TerminalText.h"

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

} // namespace

LiveFrame LiveFrame::compose(const Input& in) {
    const std::size_t width = in.width;
    const auto fitted = [width](const std::string& text) {
        return width > 0 ? truncated(text, width) : text;
    };
    std::size_t count = 0;
    for (const auto& group : in.groups) {
        count += group.sessions.size();
    }
    std::string title = "Ostrelvan";
    if (count > 0) {
        title += " · " + DisplayRules::sessionCountCaption(static_cast<int>(count));
    }
    title = fitted(title);
    std::vector<std::string> header{in.colour ? "\033[1m" + title + "\033[0m" : title};
    if (in.height == 0 || in.height >= roomyHeight) {
        header.emplace_back();
    }

    const bool listing = count > 0 && !in.showingKeys;
    std::vector<std::string> warnings;
    if (listing) {
        warnings = wrappedAll(in.notices.warnings(), width);
    }
    if (in.message) {
        const auto message = wrappedAll({*in.message}, width);
        warnings.insert(warnings.end(), message.begin(), message.end());
    }
    std::vector<std::string> hint;
    if (in.readsKeys) {
        hint.push_back(fitted(std::string(keyHint)));
    }

    std::vector<std::string> body;
    if (in.showingKeys) {
        for (const auto line : keyLines) {
            body.push_back(fitted(std::string(line)));
        }
    } else if (!listing) {
        body = wrappedAll(in.notices.emptyState(), width);
    }
    const auto list = listing ? StatusFormat::list(in.groups, in.now, {in.colour, width},
                                                   in.readsKeys ? in.selected : std::nullopt)
                              : std::vector<StatusFormat::ListLine>{};
    const std::size_t wanted = listing ? list.size() : body.size();

    LiveFrame frame;
    frame.top = in.top;
    std::size_t rows = wanted;
    bool gap = !warnings.empty() || !hint.empty();
    if (in.height > 0) {
        // What gives way when lines run short: the blank lines, the hint, then the warnings
        // from their end; the list keeps three lines, or one on the smallest screens.
        const std::size_t least = std::min<std::size_t>(wanted, in.height >= 6 ? 3 : 1);
        const auto spare = [&] {
            const std::size_t used = header.size() + warnings.size() + hint.size() + (gap ? 1 : 0);
            return in.height > used ? in.height - used : 0;
        };
        if (spare() < least || spare() < wanted) {
            gap = false;
        }
        if (spare() < least && header.size() > 1) {
            header.pop_back();
        }
        if (spare() < least) {
            hint.clear();
        }
        while (spare() < least && !warnings.empty()) {
            warnings.pop_back();
        }
        if (spare() < least) {
            header.clear();
        }
        rows = std::min(wanted, spare());
    }

    frame.lines = header;
    if (listing) {
        std::optional<std::size_t> selectedLine;
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (in.selected && list[i].session == in.selected) {
                selectedLine = i;
            }
        }
        const Window window = scroll(list, rows, in.top, selectedLine);
        if (window.above) {
            frame.lines.push_back(
                fitted("  +" + std::to_string(sessionsIn(list, 0, window.top)) + " more above"));
        }
        for (std::size_t i = window.top; i < window.top + window.count; ++i) {
            frame.lines.push_back(list[i].text);
        }
        if (window.below) {
            const std::size_t hidden = sessionsIn(list, window.top + window.count, list.size());
            frame.lines.push_back(fitted("  +" + std::to_string(hidden) + " more"));
        }
        frame.top = window.top;
        frame.pageSize =
            std::max<std::size_t>(1, sessionsIn(list, window.top, window.top + window.count));
    } else {
        frame.lines.insert(frame.lines.end(), body.begin(),
                           body.begin() + static_cast<std::ptrdiff_t>(rows));
    }
    if (gap) {
        frame.lines.emplace_back();
    }
    frame.lines.insert(frame.lines.end(), warnings.begin(), warnings.end());
    frame.lines.insert(frame.lines.end(), hint.begin(), hint.end());
    return frame;
}

} // namespace ostrelvan::cli
