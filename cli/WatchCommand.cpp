#include "cli/WatchCommand.h"

#include "cli/ConnectCommand.h"
#include "cli/LiveSessions.h"
#include "cli/LiveView.h"
#include "cli/OpenCommand.h"
#include "cli/SignalPipe.h"
#include "cli/StatusCommand.h"

#include <QtGlobal>
#include <csignal>
#include <ostream>
#include <unistd.h>

namespace ostrelvan::cli {

namespace {

// Log lines written to the terminal would tear the live view apart: they wait until it is gone.
std::string* heldMessages = nullptr;

void holdMessage(QtMsgType, const QMessageLogContext&, const QString& text) {
    if (heldMessages) {
        *heldMessages += text.toStdString() + "\n";
    }
}

} // namespace

int watch(CommandContext& context, KeyValueStore& defaults, SessionOpening& opening) {
    repairHooksIfNeeded(context);
    LiveSessions live(context, defaults);
    const LiveView::Open open = [&](const DisplayedSession& session) {
        goTo(session, live.acknowledged(), opening);
        return std::optional<std::string>();
    };
    LiveView view(
        live.store(), [&live] { return live.notices(); }, open, STDIN_FILENO, STDOUT_FILENO,
        wantsColour(context.environment, STDOUT_FILENO), context.out);
    SignalPipe signalPipe({SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP}, [&](int signal) {
        switch (signal) {
        case SIGWINCH:
            view.redrawSoon();
            return;
        case SIGTSTP:
            view.suspend();
            signalPipe.reinstall(SIGTSTP);
            return;
        case SIGINT:
            view.quit(0);
            return;
        default:
            view.quit(128 + signal);
        }
    });

    std::string held;
    const bool onScreen = isatty(STDOUT_FILENO) == 1;
    if (onScreen) {
        heldMessages = &held;
        qInstallMessageHandler(holdMessage);
    }
    const int code = view.run();
    if (onScreen) {
        qInstallMessageHandler(nullptr);
        heldMessages = nullptr;
        context.err << held;
    }
    return code;
}

} // namespace ostrelvan::cli
