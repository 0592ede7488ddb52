#pragma once

#include "base/Environment.h"
#include "core/SessionHost.h"

#include <optional>
#include <string>

namespace ostrelvan::HostDetector {

// vscode only when CLAUDE_CODE_ENTRYPOINT is exactly "claude-vscode".
SessionHost host(const Environment& environment);
// TERM_PROGRAM when present and non-empty.
std::optional<std::string> terminalApp(const Environment& environment);

} // namespace ostrelvan::HostDetector
