#include "cli/StatusDocument.h"

#include "core/DisplayRules.h"
#include "core/SessionCoding.h"

#include <nlohmann/json.hpp>

namespace ostrelvan::cli::StatusDocument {

std::string document(const std::vector<SessionGroup>& groups, const Notices& notices,
                     const PaneLookup& pane) {
    using Json = nlohmann::ordered_json;
    const auto optional = [](const auto& value) -> Json {
        return value ? Json(*value) : Json(nullptr);
    };
    Json list = Json::array();
    for (const auto& group : groups) {
        Json sessions = Json::array();
        for (const auto& session : group.sessions) {
            const auto& state = session.state;
            const bool working = session.status == SessionStatus::working;
            const bool asking = session.status == SessionStatus::needsApproval;
            Json item;
            item["sessionId"] = state.sessionId;
            item["name"] = session.name;
            item["status"] = toString(session.status);
            item["activity"] = working ? Json(toString(state.activity)) : Json(nullptr);
            item["statusLine"] = DisplayRules::statusLine(state, session.status);
            item["approval"] = asking ? optional(state.detail) : Json(nullptr);
            item["project"] = state.project();
            item["folder"] = state.folder();
            item["host"] = toString(state.host);
            item["terminalApp"] = optional(state.terminalApp);
            item["pid"] = optional(state.pid);
            item["tmuxPane"] = pane ? optional(pane(state)) : Json(nullptr);
            item["title"] = optional(state.title);
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
    root["version"] = version;
    root["connected"] = notices.connected;
    root["notice"] = optional(notices.notice);
    root["hookErrors"] = notices.hookErrors ? Json(notices.hookErrors->string()) : Json(nullptr);
    root["waitingForPrompt"] = notices.waitingForPrompt;
    root["groups"] = std::move(list);
    return root.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace ostrelvan::cli::StatusDocument
