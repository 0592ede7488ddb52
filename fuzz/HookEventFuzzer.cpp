// Any bytes on the helper's standard input: decoding fails cleanly exactly when a plain parse of
// the whole document says it should, gives the same event as reading that document, and the
// reducer folds the event into a state whose file form reads back to itself.
#include "core/HookEvent.h"
#include "core/SessionCoding.h"
#include "core/SessionReducer.h"

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>

using namespace ostrelvan;
using nlohmann::json;

namespace {

std::optional<std::string> text(const json& object, const char* key) {
    auto it = object.find(key);
    return it != object.end() && it->is_string() ? std::optional(it->get<std::string>())
                                                 : std::nullopt;
}

int runningTasks(const json& object) {
    auto it = object.find("background_tasks");
    if (it == object.end() || !it->is_array())
        return 0;
    int running = 0;
    for (const json& task : *it) {
        const json status = task.is_object() ? task.value("status", json()) : json(1);
        if (!status.is_null() && !status.is_string())
            return 0; // one malformed task makes the list count as empty
        running += status == "running";
    }
    return running;
}

// The decoding rules over a whole parsed document: the reference for the streaming decoder.
std::optional<HookEvent> reference(std::string_view bytes) {
    json object = json::parse(bytes, nullptr, false);
    if (object.is_discarded() || !object.is_object())
        return std::nullopt;
    auto name = text(object, "hook_event_name");
    auto session = text(object, "session_id");
    if (!name || !session)
        return std::nullopt;
    HookEvent event;
    event.rawName = *name;
    event.sessionId = *session;
    event.kind = fromString<HookEvent::Kind>(*name);
    event.cwd = text(object, "cwd").value_or("");
    event.toolName = text(object, "tool_name");
    if (auto input = object.find("tool_input"); input != object.end() && input->is_object()) {
        event.command = text(*input, "command");
        event.filePath = text(*input, "file_path");
        if (!event.filePath)
            event.filePath = text(*input, "notebook_path");
        event.url = text(*input, "url");
    }
    event.notificationType = text(object, "notification_type");
    event.message = text(object, "message");
    event.sessionTitle = text(object, "session_title");
    event.runningBackgroundTasks = runningTasks(object);
    event.source = text(object, "source");
    event.promptId = text(object, "prompt_id");
    // Kept in the order given, so read again with the keys' order.
    const auto ordered = nlohmann::ordered_json::parse(bytes, nullptr, false);
    if (auto found = ordered.find("permission_suggestions");
        found != ordered.end() && found->is_array()) {
        std::string suggestions =
            found->dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        if (suggestions.size() <= HookEvent::maxSuggestionsText)
            event.permissionSuggestions = std::move(suggestions);
    }
    return event;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes{reinterpret_cast<const char*>(data), size};
    std::optional<HookEvent> decoded;
    try {
        decoded = HookEvent::decode(bytes);
    } catch (const HookEventDecodeError&) {
    }
    if (decoded != reference(bytes))
        std::abort();
    if (!decoded)
        return 0;

    const EventContext context{TimePoint{std::chrono::seconds{1'741'944'413}},
                               SessionHost::terminal, "term", 1};
    ReduceOutcome first = SessionReducer::reduce(std::nullopt, *decoded, context);
    if (first.kind != ReduceOutcome::Kind::write)
        return 0;
    ReduceOutcome second = SessionReducer::reduce(first.state, *decoded, context);
    // Encoding replaces invalid UTF-8, so compare the file forms, not the states.
    const std::string encoded = SessionCoding::encode(*second.state);
    if (SessionCoding::encode(SessionCoding::decode(encoded)) != encoded)
        std::abort();
    return 0;
}
