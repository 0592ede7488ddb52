#include "cli/Notices.h"

namespace ostrelvan::cli {

std::vector<std::string> Notices::warnings() const {
    std::vector<std::string> lines;
    if (notice) {
        lines.push_back(*notice);
    }
    if (hookErrors) {
        lines.push_back("ostrelvan-hook logged errors after the last session update; see " +
                        hookErrors->string() + ".");
    }
    return lines;
}

std::vector<std::string> Notices::emptyState() const {
    std::vector<std::string> lines;
    if (notice) {
        lines.push_back(*notice);
    } else {
        lines.emplace_back("No sessions yet");
    }
    if (waitingForPrompt == 1) {
        lines.emplace_back("1 Claude Code session is running; it shows up here after its first "
                           "prompt.");
    } else if (waitingForPrompt > 1) {
        lines.push_back(std::to_string(waitingForPrompt) +
                        " Claude Code sessions are running; they show up here after their first "
                        "prompt.");
    } else if (!notice) {
        lines.emplace_back("Start Claude Code and it shows up here.");
    }
    if (hookErrors) {
        lines.push_back(warnings().back());
    }
    return lines;
}

} // namespace ostrelvan::cli
