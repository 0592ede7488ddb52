#include "HookEvent.h"

#include <nlohmann/json.hpp>

namespace ostrelvan {

using nlohmann::json;

std::string_view toString(HookEvent::Kind kind) {
    using Kind = HookEvent::Kind;
    switch (kind) {
    case Kind::sessionStart:
        return "SessionStart";
    case Kind::sessionEnd:
        return "SessionEnd";
    case Kind::userPromptSubmit:
        return "UserPromptSubmit";
    case Kind::preToolUse:
        return "PreToolUse";
    case Kind::postToolUse:
        return "PostToolUse";
    case Kind::postToolUseFailure:
        return "PostToolUseFailure";
    case Kind::permissionRequest:
        return "PermissionRequest";
    case Kind::notification:
        return "Notification";
    case Kind::stop:
        return "Stop";
    case Kind::subagentStart:
        return "SubagentStart";
    case Kind::preCompact:
        return "PreCompact";
    }
    return "";
}

template <> std::optional<HookEvent::Kind> fromString<HookEvent::Kind>(std::string_view text) {
    for (HookEvent::Kind kind : HookEvent::allKinds)
        if (toString(kind) == text)
            return kind;
    return std::nullopt;
}

namespace {

// A string member, or absent when it is missing, null or of another type.
std::optional<std::string> optionalText(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_string())
        return std::nullopt;
    return it->get<std::string>();
}

std::string requiredText(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end())
        throw HookEventDecodeError(std::string("Missing key \"") + key + "\"");
    if (!it->is_string())
        throw HookEventDecodeError(std::string("Key \"") + key + "\" is not a string");
    return it->get<std::string>();
}

// Any malformed element makes the whole list count as empty.
int runningTasks(const json& object) {
    auto it = object.find("background_tasks");
    if (it == object.end() || !it->is_array())
        return 0;
    int running = 0;
    for (const json& task : *it) {
        if (!task.is_object())
            return 0;
        auto status = task.find("status");
        if (status == task.end() || status->is_null())
            continue;
        if (!status->is_string())
            return 0;
        if (status->get_ref<const std::string&>() == "running")
            ++running;
    }
    return running;
}

} // namespace

HookEvent HookEvent::decode(std::string_view bytes) {
    if (bytes.empty())
        throw HookEventDecodeError("Payload is empty");
    json object = json::parse(bytes, nullptr, false);
    if (object.is_discarded())
        throw HookEventDecodeError("Payload is not valid JSON");
    if (!object.is_object())
        throw HookEventDecodeError("Payload is not a JSON object");

    HookEvent event;
    event.rawName = requiredText(object, "hook_event_name");
    event.sessionId = requiredText(object, "session_id");
    event.kind = fromString<Kind>(event.rawName);
    event.cwd = optionalText(object, "cwd").value_or("");
    event.toolName = optionalText(object, "tool_name");
    if (auto input = object.find("tool_input"); input != object.end() && input->is_object()) {
        event.command = optionalText(*input, "command");
        event.filePath = optionalText(*input, "file_path");
        if (!event.filePath)
            event.filePath = optionalText(*input, "notebook_path");
        event.url = optionalText(*input, "url");
    }
    event.notificationType = optionalText(object, "notification_type");
    event.message = optionalText(object, "message");
    event.sessionTitle = optionalText(object, "session_title");
    event.runningBackgroundTasks = runningTasks(object);
    event.source = optionalText(object, "source");
    return event;
}

} // namespace ostrelvan
