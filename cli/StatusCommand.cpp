#include "cli/StatusCommand.h"

#include "cli/LiveSessions.h"
#include "cli/StatusDocument.h"
#include "cli/StatusFormat.h"

#include <ostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ostrelvan::cli {

bool wantsColour(const Environment& environment, int fd) {
    const auto term = nonEmpty(environment, "TERM");
    return isatty(fd) == 1 && !nonEmpty(environment, "NO_COLOR") && term != "dumb";
}

std::size_t terminalWidth(int fd) {
    winsize size{};
    if (isatty(fd) == 1 && ioctl(fd, TIOCGWINSZ, &size) == 0) {
        return size.ws_col;
    }
    return 0;
}

int status(CommandContext& context, KeyValueStore& defaults, StatusOutput output, bool tmux) {
    LiveSessions live(context, defaults);
    auto& store = live.store();
    store.reload();
    const bool colour = wantsColour(context.environment, STDOUT_FILENO);

    switch (output) {
    case StatusOutput::json:
        context.out << StatusDocument::document(store.groups(), live.notices(), context.tmuxPane);
        break;
    case StatusOutput::line: {
        using StatusFormat::LineColour;
        const auto text = StatusFormat::line(store.sessions(), tmux     ? LineColour::tmux
                                                               : colour ? LineColour::terminal
                                                                        : LineColour::none);
        if (!text.empty()) {
            context.out << text << "\n";
        }
        break;
    }
    case StatusOutput::human: {
        const auto notices = live.notices();
        const auto width = terminalWidth(STDOUT_FILENO);
        if (store.sessions().empty()) {
            context.out << StatusFormat::lines(notices.emptyState(), width);
        } else {
            context.out << StatusFormat::human(store.groups(), wallClockNow(), {colour, width});
            if (const auto warnings = notices.warnings(); !warnings.empty()) {
                context.out << "\n" << StatusFormat::lines(warnings, width);
            }
        }
        break;
    }
    }
    context.out.flush();
    return context.out ? 0 : 1;
}

} // namespace ostrelvan::cli
