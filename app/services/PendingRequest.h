#pragma once

#include "core/Time.h"

#include <string>

namespace ostrelvan {

// What the user may answer a waiting permission request with.
enum class PermissionChoice { allow, allowAndAddRule, deny };

// A permission request the app offered to the user and has not answered yet, as the widget, the
// tray and the notification show it.
struct PendingRequest {
    std::string requestId;
    std::string sessionId;
    // The last component of the session's folder.
    std::string project;
    std::string toolName;
    // What is asked, such as the command.
    std::string summary;
    // Claude Code offered a rule with the request, so "allow and add the rule" is a choice.
    bool canAddRule = false;
    TimePoint arrivedAt;

    bool operator==(const PendingRequest&) const = default;
};

} // namespace ostrelvan
