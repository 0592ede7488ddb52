#pragma once

#include "app/store/SessionGroup.h"
#include "cli/Notices.h"
#include "core/SessionState.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan::cli::StatusDocument {

// The tmux pane of a session, "%<number>", when it is known.
using PaneLookup = std::function<std::optional<std::string>(const SessionState&)>;
inline constexpr int version = 1;

// One JSON object for scripts: raw enumeration texts, the session files' date form, every
// optional field present (null when absent), texts as they came. The keys are listed in the
// README.
std::string document(const std::vector<SessionGroup>& groups, const Notices& notices,
                     const PaneLookup& pane);

} // namespace ostrelvan::cli::StatusDocument
