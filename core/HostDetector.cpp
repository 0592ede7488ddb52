#include "core/HostDetector.h"

namespace ostrelvan::HostDetector {

SessionHost host(const Environment& environment) {
    auto it = environment.find("CLAUDE_CODE_ENTRYPOINT");
    return it != environment.end() && it->second == "claude-vscode" ? SessionHost::vscode
                                                                    : SessionHost::terminal;
}

std::optional<std::string> terminalApp(const Environment& environment) {
    return nonEmpty(environment, "TERM_PROGRAM");
}

} // namespace ostrelvan::HostDetector
