#pragma once

#include "core/ClaudeProcess.h"
#include "core/SessionState.h"

#include <vector>

namespace ostrelvan::SessionMerge {

// Hook states and live registry records into the one list the store shows. The registry's own
// status also ends what hooks cannot see (an interrupted turn, a refused permission).
std::vector<SessionState> merge(const std::vector<SessionState>& hooks,
                                const std::vector<ClaudeProcess>& processes);

SessionState state(const ClaudeProcess& process);

} // namespace ostrelvan::SessionMerge
