#include "StatusFormat.h"

#include "DisplayRules.h"
#include "SessionCoding.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

namespace ostrelvan::cli::StatusFormat {

namespace {

const std::string reset = "\033[0m";
const std::string bold = "\033[1m";

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

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string padded(const std::string& text, std::size_t width) {
    const auto used = columns(text);
    return used >= width ? text : text + std::string(width - used, ' ');
}

std::string groupHeader(const SessionGroup& group) {
    return group.name + " (" + std::to_string(group.sessions.size()) + " sessions)";
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
    return {session.status, session.name, project != session.name ? project : std::string(),
            DisplayRules::statusLine(session.state, session.status),
            DisplayRules::elapsed(session.state.statusSince, now)};
}

std::string withStyle(const std::string& text, const std::string& style, bool colour) {
    return colour ? style + text + reset : text;
}

} // namespace

std::string lamp(SessionStatus status, bool colour) {
    return withStyle("●", colourOf(status), colour);
}

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

std::size_t columns(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !isContinuationByte(c); }));
}

std::string truncated(const std::string& text, std::size_t width) {
    if (columns(text) <= width) {
        return text;
    }
    if (width == 0) {
        return {};
    }
    std::size_t kept = 0;
    std::size_t end = 0;
    while (end < text.size()) {
        std::size_t next = end + 1;
        while (next < text.size() && isContinuationByte(text[next])) {
            ++next;
        }
        if (kept + 1 > width - 1) {
            break;
        }
        ++kept;
        end = next;
    }
    return text.substr(0, end) + "…";
}

std::string human(const std::vector<SessionGroup>& groups, TimePoint now, const Style& style) {
    std::vector<std::vector<Row>> rows;
    std::size_t nameWidth = 0, projectWidth = 0, lineWidth = 0, ageWidth = 0;
    for (const auto& group : groups) {
        auto& groupRows = rows.emplace_back();
        for (const auto& session : group.sessions) {
            const Row row = rowOf(session, now);
            nameWidth = std::max(nameWidth, columns(row.name));
            projectWidth = std::max(projectWidth, columns(row.project));
            lineWidth = std::max(lineWidth, columns(row.statusLine));
            ageWidth = std::max(ageWidth, columns(row.age));
            groupRows.push_back(row);
        }
    }

    const auto fit = [&](const std::string& text, std::size_t indent) {
        return style.width == 0 || style.width <= indent ? text
                                                         : truncated(text, style.width - indent);
    };
    std::string out;
    for (std::size_t g = 0; g < groups.size(); ++g) {
        if (groups[g].sessions.size() > 1) {
            out += withStyle(fit(groupHeader(groups[g]), 0), bold, style.colour) + "\n";
        }
        for (const auto& row : rows[g]) {
            std::string text = padded(row.name, nameWidth) + "  ";
            if (projectWidth > 0) {
                text += padded(row.project, projectWidth) + "  ";
            }
            text += padded(row.statusLine, lineWidth) + "  " +
                    std::string(ageWidth - columns(row.age), ' ') + row.age;
            out += "  " + lamp(row.status, style.colour) + " " + fit(text, 4) + "\n";
        }
    }
    return out;
}

std::string emptyState(const std::optional<std::string>& connectionNotice) {
    if (connectionNotice) {
        return *connectionNotice + "\n";
    }
    return "No sessions yet\nStart Claude Code and it shows up here.\n";
}

std::string json(const std::vector<SessionGroup>& groups) {
    using Json = nlohmann::ordered_json;
    Json list = Json::array();
    for (const auto& group : groups) {
        Json sessions = Json::array();
        for (const auto& session : group.sessions) {
            const auto& state = session.state;
            Json item;
            item["sessionId"] = state.sessionId;
            item["name"] = session.name;
            item["status"] = toString(session.status);
            item["activity"] = toString(state.activity);
            item["statusLine"] = DisplayRules::statusLine(state, session.status);
            item["project"] = state.project();
            item["folder"] = state.folder();
            item["host"] = toString(state.host);
            if (state.terminalApp) {
                item["terminalApp"] = *state.terminalApp;
            }
            if (state.pid) {
                item["pid"] = *state.pid;
            }
            if (state.title) {
                item["title"] = *state.title;
            }
            item["statusSince"] = SessionCoding::formatDate(state.statusSince);
            item["lastEvent"] = SessionCoding::formatDate(state.lastEvent);
            sessions.push_back(std::move(item));
        }
        Json item;
        item["id"] = group.id;
        item["name"] = group.name;
        item["sessions"] = std::move(sessions);
        list.push_back(std::move(item));
    }
    Json root;
    root["groups"] = std::move(list);
    return root.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string line(const std::vector<DisplayedSession>& sessions, bool colour) {
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
        out += withStyle(glyph(status), colourOf(status), colour) + std::to_string(count);
    }
    return out;
}

std::optional<TimePoint> nextAgeChange(const std::vector<DisplayedSession>& sessions,
                                       TimePoint now) {
    std::optional<TimePoint> next;
    for (const auto& session : sessions) {
        const auto since = session.state.statusSince;
        const double age = secondsBetween(since, now);
        double step = 60;
        if (age >= 86400) {
            step = 86400;
        } else if (age >= 3600) {
            step = 3600;
        }
        const double boundary = age < 60 ? 60 : (std::floor(age / step) + 1) * step;
        const TimePoint change = addSeconds(since, boundary);
        if (!next || change < *next) {
            next = change;
        }
    }
    return next;
}

} // namespace ostrelvan::cli::StatusFormat
