#pragma once

#include "app/store/DisplayedSession.h"

#include <string>
#include <vector>

namespace ostrelvan {

// The sessions of one terminal tab or editor window, oldest first.
struct SessionGroup {
    std::string id; // "window-<parent pid>" or "session-<session id>"
    std::string name;
    std::vector<DisplayedSession> sessions;

    bool operator==(const SessionGroup&) const = default;
};

} // namespace ostrelvan
