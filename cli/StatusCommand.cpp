#include "StatusCommand.h"

#include "ConnectCommand.h"
#include "LiveSessions.h"
#include "StatusFormat.h"

#include <ostream>
#include <unistd.h>

namespace ostrelvan::cli {

bool wantsColour(const Environment& environment, int fd) {
    const auto term = nonEmpty(environment, "TERM");
    return isatty(fd) == 1 && !nonEmpty(environment, "NO_COLOR") && term != "dumb";
}

int status(CommandContext& context, KeyValueStore& defaults, StatusOutput output) {
    LiveSessions live(context, defaults);
    auto& store = live.store();
    store.reload();
    const bool colour = wantsColour(context.environment, STDOUT_FILENO);

    switch (output) {
    case StatusOutput::json:
        context.out << StatusFormat::json(store.groups());
        break;
    case StatusOutput::line: {
        const auto text = StatusFormat::line(store.sessions(), colour);
        if (!text.empty()) {
            context.out << text << "\n";
        }
        break;
    }
    case StatusOutput::human: {
        const auto notice = connectionNotice(context);
        if (store.sessions().empty()) {
            context.out << StatusFormat::emptyState(notice);
        } else {
            context.out << StatusFormat::human(store.groups(), wallClockNow(), {colour, 0});
            if (notice) {
                context.out << "\n" << *notice << "\n";
            }
        }
        break;
    }
    }
    context.out.flush();
    return context.out ? 0 : 1;
}

} // namespace ostrelvan::cli
