#pragma once

#include "app/store/SessionGroup.h"
#include "cli/Notices.h"
#include "core/Time.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan::cli {

// One screen of the live view, fitted to the terminal: the title, the sessions (or what stands
// for them), then what needs saying and the key hint. When the sessions do not fit, the list
// scrolls to keep the selected row in sight and says how many rows are out of it ("+N more").
struct LiveFrame {
    struct Input {
        std::vector<SessionGroup> groups;
        TimePoint now;
        Notices notices;
        std::optional<std::size_t> selected; // a session, by its index in the groups' order
        std::size_t top = 0;                 // the first list line shown last time
        bool showingKeys = false;
        std::optional<std::string> message; // what the last key did, when it needs saying
        bool colour = false;
        bool readsKeys = false;
        std::size_t width = 0;  // 0: no limit
        std::size_t height = 0; // 0: no limit
    };

    std::vector<std::string> lines;
    std::size_t top = 0;      // the first list line shown, to start from next time
    std::size_t pageSize = 0; // session rows shown at once, for a page up or down; 0 without a list

    static LiveFrame compose(const Input& input);
};

} // namespace ostrelvan::cli
