#pragma once

#include "base/Environment.h"

#include <optional>
#include <string>

namespace ostrelvan::cli {

// The folders the front end works in come from HOME, OSTRELVAN_DATA_DIR and CLAUDE_CONFIG_DIR.
// A relative value would put session files and settings under whatever folder the command was
// run from, and a "~" is only expanded by a shell, so both are refused rather than guessed at.
namespace UserPaths {

// Why the environment cannot be used, in one line; none when it can. Fills in HOME from the
// user database when it is unset or empty, as a login would have.
std::optional<std::string> settle(Environment& environment);

} // namespace UserPaths
} // namespace ostrelvan::cli
