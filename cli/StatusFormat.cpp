#include "cli/StatusFormat.h"

#include "cli/TerminalText.h"
#include "core/DisplayRules.h"

#include <algorithm>

namespace ostrelvan::cli::StatusFormat {

namespace {

using TerminalText::columns;
using TerminalText::padded;
using TerminalText::sanitized;
using TerminalText::truncated;

const std::string reset = "\033[0m";
const std::string bold = "\033[1m";
const std::string reverse = "\033[7m";

// The lamp, two spaces and the gaps between columns.
constexpr std::size_t prefixWidth = 4;
constexpr std::size_t gap = 2;
// Below this a name says too little to tell rows apart; only the narrowest terminals go below,
// down to the least.
constexpr std::size_t nameFloor = 12;
constexpr std::size_t nameLeast = 4;
// A project column narrower than this is dropped rather than shown.
constexpr std::size_t projectFloor = 8;
constexpr std::string_view separator = " \u00B7 ";

std::string colourOf(SessionStatus status) {
    switch (status) {
    case SessionStatus::working:
        return "\033[32m";
    case SessionStatus::needsApproval:
    case SessionStatus::awaitingReview:
        return "\033[38;5;208m";
    case SessionStatus::idle:
        return "\033[90m";
    }
    return {};
}

std::string tmuxColourOf(SessionStatus status) {
    switch (status) {
    case SessionStatus::working:
        return "green";
    case SessionStatus::needsApproval:
    case SessionStatus::awaitingReview:
        return "colour208";
    case SessionStatus::idle:
        return "brightblack";
    }
    return "default";
}

std::string withStyle(const std::string& text, const std::string& style, bool colour) {
    return colour ? style + text + reset : text;
}

struct Row {
    SessionStatus status;
    std::string name;
    std::string project;
    std::string statusLine;
    std::string age;
};

Row rowOf(const DisplayedSession& session, TimePoint now) {
    const auto project = session.state.project();
    return {session.status, sanitized(session.name),
            project != session.name ? sanitized(project) : std::string(),
            sanitized(DisplayRules::statusLine(session.state, session.status)),
            DisplayRules::elapsed(session.state.statusSince, now)};
}

// The status line in `width` columns: what follows " · " is shortened first, and goes when too
// little of it would show, so that the status itself stays whole as long as it can.
std::string fitStatus(const std::string& text, std::size_t width) {
    constexpr std::size_t leastDetail = 6;
    if (columns(text) <= width) {
        return text;
    }
    const auto cut = text.find(separator);
    if (cut == std::string::npos) {
        return truncated(text, width);
    }
    const auto core = text.substr(0, cut);
    if (columns(core) + columns(separator) + leastDetail <= width) {
        return truncated(text, width);
    }
    return columns(core) <= width ? core : truncated(core, width);
}

struct Columns {
    std::size_t name = 0;
    std::size_t project = 0; // 0: no project column
    std::size_t status = 0;
    std::size_t statusCore = 0; // the widest status line without what follows its separator
    std::size_t age = 0;
};

Columns measure(const std::vector<std::vector<Row>>& rows) {
    Columns widths;
    for (const auto& group : rows) {
        for (const auto& row : group) {
            widths.name = std::max(widths.name, columns(row.name));
            widths.project = std::max(widths.project, columns(row.project));
            widths.status = std::max(widths.status, columns(row.statusLine));
            const auto core = row.statusLine.substr(0, row.statusLine.find(separator));
            widths.statusCore = std::max(widths.statusCore, columns(core));
            widths.age = std::max(widths.age, columns(row.age));
        }
    }
    return widths;
}

// Gives way in this order: what follows a status line's separator, the project column, names
// down to a floor, names below it. The status line and the age keep their columns.
Columns fit(Columns widths, std::size_t width) {
    widths.name = std::min(widths.name, nameCap);
    widths.project = std::min(widths.project, projectCap);
    const std::size_t fixed = prefixWidth + gap + widths.age + gap;
    const std::size_t room = width > fixed ? width - fixed : 0; // name, project, status
    const auto projectPart = [&] { return widths.project > 0 ? widths.project + gap : 0; };
    const auto used = [&] { return widths.name + projectPart() + widths.status; };
    const auto rest = [&](std::size_t taken) { return room > taken ? room - taken : 0; };
    if (used() > room) {
        widths.status = std::max(widths.statusCore, rest(widths.name + projectPart()));
    }
    if (used() > room && widths.project > 0) {
        const std::size_t whole = widths.project;
        widths.project = std::min(whole, rest(widths.name + gap + widths.status));
        if (widths.project < std::min(whole, projectFloor)) {
            widths.project = 0;
        }
    }
    if (used() > room) {
        widths.name = std::max(std::min(widths.name, nameFloor), rest(widths.status));
    }
    if (used() > room) {
        // Too narrow even so: the status keeps its words, the name keeps a few letters.
        widths.name = std::max(std::min(widths.name, nameLeast), rest(widths.statusCore));
        widths.status = rest(widths.name);
    }
    return widths;
}

std::string rowText(const Row& row, const Columns& widths, bool fitted) {
    const auto name = fitted ? truncated(row.name, widths.name) : row.name;
    std::string text = padded(name, widths.name) + std::string(gap, ' ');
    if (widths.project > 0) {
        const auto project = fitted ? truncated(row.project, widths.project) : row.project;
        text += padded(project, widths.project) + std::string(gap, ' ');
    }
    const auto status = fitted ? fitStatus(row.statusLine, widths.status) : row.statusLine;
    return text + padded(status, widths.status) + std::string(gap, ' ') +
           std::string(widths.age - std::min(widths.age, columns(row.age)), ' ') + row.age;
}

} // namespace

std::string glyph(SessionStatus status) {
    switch (status) {
    case SessionStatus::working:
        return "●";
    case SessionStatus::needsApproval:
        return "▲";
    case SessionStatus::awaitingReview:
        return "◆";
    case SessionStatus::idle:
        return "○";
    }
    return "●";
}

std::string lamp(SessionStatus status, bool colour) {
    return withStyle(glyph(status), colourOf(status), colour);
}

std::vector<ListLine> list(const std::vector<SessionGroup>& groups, TimePoint now,
                           const Style& style, std::optional<std::size_t> selected) {
    std::vector<std::vector<Row>> rows;
    for (const auto& group : groups) {
        auto& groupRows = rows.emplace_back();
        for (const auto& session : group.sessions) {
            groupRows.push_back(rowOf(session, now));
        }
    }
    const bool fitted = style.width > 0;
    Columns widths = measure(rows);
    if (fitted) {
        widths = fit(widths, style.width);
    }
    // Only a terminal too narrow for even the age gets its rows cut at the edge.
    const auto edge = [&](const std::string& text, std::size_t indent) {
        return fitted ? truncated(text, style.width > indent ? style.width - indent : 0) : text;
    };

    std::vector<ListLine> lines;
    std::size_t index = 0;
    for (std::size_t g = 0; g < groups.size(); ++g) {
        if (groups[g].sessions.size() > 1) {
            const auto header = sanitized(groups[g].name) + " (" +
                                std::to_string(groups[g].sessions.size()) + " sessions)";
            lines.push_back({withStyle(edge(header, 0), bold, style.colour), std::nullopt});
        }
        for (const auto& row : rows[g]) {
            const bool isSelected = selected == index;
            const auto text = edge(rowText(row, widths, fitted), prefixWidth);
            std::string line = isSelected ? "> " : "  ";
            line += lamp(row.status, style.colour);
            line += ' ';
            const bool highlighted = isSelected && style.colour;
            line += highlighted ? reverse : std::string();
            line += text;
            line += highlighted ? reset : std::string();
            lines.push_back({std::move(line), index});
            ++index;
        }
    }
    return lines;
}

std::string human(const std::vector<SessionGroup>& groups, TimePoint now, const Style& style) {
    std::string out;
    for (const auto& line : list(groups, now, style)) {
        out += line.text + "\n";
    }
    return out;
}

std::string lines(const std::vector<std::string>& texts, std::size_t width) {
    std::string out;
    for (const auto& text : texts) {
        for (const auto& line : TerminalText::wrapped(sanitized(text), width)) {
            out += line + "\n";
        }
    }
    return out;
}

std::string line(const std::vector<DisplayedSession>& sessions, LineColour colour) {
    std::string out;
    for (const auto status : allSessionStatuses) {
        const auto count =
            std::count_if(sessions.begin(), sessions.end(),
                          [&](const auto& session) { return session.status == status; });
        if (count == 0) {
            continue;
        }
        if (!out.empty()) {
            out += " ";
        }
        switch (colour) {
        case LineColour::none:
            out += glyph(status);
            break;
        case LineColour::terminal:
            out += lamp(status, true);
            break;
        case LineColour::tmux:
            out += "#[fg=" + tmuxColourOf(status) + "]" + glyph(status) + "#[fg=default]";
            break;
        }
        out += std::to_string(count);
    }
    return out;
}

std::optional<TimePoint> nextAgeChange(const std::vector<DisplayedSession>& sessions,
                                       TimePoint now) {
    std::optional<TimePoint> next;
    for (const auto& session : sessions) {
        const TimePoint change = DisplayRules::elapsedChangesAt(session.state.statusSince, now);
        if (!next || change < *next) {
            next = change;
        }
    }
    return next;
}

} // namespace ostrelvan::cli::StatusFormat
