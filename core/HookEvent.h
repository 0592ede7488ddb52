#pragma once

#include "core/EnumText.h"

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostrelvan {

// A payload that is not a JSON object with string "hook_event_name" and "session_id".
class HookEventDecodeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One decoded Claude Code hook event. Only the event name and the session id are required; every
// other key that is missing, null or of the wrong type leaves its field absent.
struct HookEvent {
    enum class Kind {
        sessionStart,
        sessionEnd,
        userPromptSubmit,
        preToolUse,
        postToolUse,
        postToolUseFailure,
        permissionRequest,
        notification,
        stop,
        subagentStart,
        preCompact,
    };
    static constexpr std::array allKinds{
        Kind::sessionStart, Kind::sessionEnd,         Kind::userPromptSubmit,  Kind::preToolUse,
        Kind::postToolUse,  Kind::postToolUseFailure, Kind::permissionRequest, Kind::notification,
        Kind::stop,         Kind::subagentStart,      Kind::preCompact,
    };

    struct Payload;

    std::optional<Kind> kind;
    std::string rawName;
    std::string sessionId;
    std::string cwd;
    std::optional<std::string> toolName;
    std::optional<std::string> command;
    std::optional<std::string> filePath;
    std::optional<std::string> url;
    std::optional<std::string> notificationType;
    std::optional<std::string> message;
    std::optional<std::string> sessionTitle;
    int runningBackgroundTasks = 0;
    std::optional<std::string> source;
    std::optional<std::string> promptId;
    // A PermissionRequest's permission_suggestions as compact JSON text (invalid UTF-8 replaced),
    // when it is an array of at most maxSuggestionsText bytes so written; a larger one is dropped
    // while it is read.
    std::optional<std::string> permissionSuggestions;

    static constexpr std::size_t maxSuggestionsText = 16384;

    // Throws HookEventDecodeError.
    static HookEvent decode(std::string_view bytes);
    // Decodes what can be read from the descriptor to its end, without holding the whole payload
    // in memory (a tool's output can make it megabytes). Throws HookEventDecodeError, also when
    // reading fails.
    static HookEvent read(int fileDescriptor);

    bool operator==(const HookEvent&) const = default;
};

template <> inline constexpr auto enumValues<HookEvent::Kind> = HookEvent::allKinds;

std::string_view toString(HookEvent::Kind kind);

} // namespace ostrelvan
