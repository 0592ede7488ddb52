#include "WatchCommand.h"

#include "ConnectCommand.h"
#include "DisplayRules.h"
#include "LiveSessions.h"
#include "SignalPipe.h"
#include "StatusCommand.h"
#include "StatusFormat.h"
#include "Terminal.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <csignal>
#include <ostream>
#include <unistd.h>

namespace ostrelvan::cli {

namespace {

// Lets an age label turn over before the redraw that shows it.
constexpr std::chrono::milliseconds ageMargin{50};

class WatchView {
public:
    WatchView(CommandContext& context, KeyValueStore& defaults)
        : context_(context), live_(context, defaults), terminal_(STDIN_FILENO, STDOUT_FILENO),
          colour_(wantsColour(context.environment, STDOUT_FILENO)),
          signals_({SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP},
                   [this](int signal) { onSignal(signal); }) {
        redraw_.setSingleShot(true);
        redraw_.setInterval(0);
        QObject::connect(&redraw_, &QTimer::timeout, [this] { draw(); });
        ageTimer_.setSingleShot(true);
        QObject::connect(&ageTimer_, &QTimer::timeout, [this] { draw(); });
        auto& store = live_.store();
        QObject::connect(&store, &SessionStore::groupsChanged, [this] { redraw_.start(); });
        QObject::connect(&store, &SessionStore::sessionsChanged, [this] { redraw_.start(); });
        if (terminal_.readsKeys()) {
            keys_ = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
            QObject::connect(keys_.get(), &QSocketNotifier::activated, [this] { readKeys(); });
        }
    }

    int run() {
        terminal_.enter();
        live_.store().start();
        redraw_.stop(); // the first publish is drawn right here
        draw();
        const int code = QCoreApplication::exec();
        terminal_.leave();
        return exitCode_ >= 0 ? exitCode_ : code;
    }

private:
    std::string frame() {
        const auto& store = live_.store();
        const auto now = wallClockNow();
        const auto width = terminal_.width();
        const auto count = static_cast<int>(store.sessions().size());
        std::string text = "Ostrelvan";
        if (count > 0) {
            text += " · " + DisplayRules::sessionCountCaption(count);
        }
        text = (colour_ ? "\033[1m" + text + "\033[0m" : text) + "\n\n";
        if (store.sessions().empty()) {
            text += StatusFormat::emptyState(connectionNotice(context_));
        } else {
            text += StatusFormat::human(store.groups(), now, {colour_, width});
        }
        if (terminal_.readsKeys()) {
            text += "\nq quits\n";
        }
        return text;
    }

    void draw() {
        const auto text = frame();
        if (terminal_.drawsScreens()) {
            terminal_.draw(text);
        } else if (text != lastFrame_) {
            // Without a terminal, each new state is appended, for a log or a pipe.
            context_.out << text << "\n";
            context_.out.flush();
        }
        lastFrame_ = text;
        scheduleAgeRedraw();
    }

    void scheduleAgeRedraw() {
        const auto now = wallClockNow();
        const auto next = StatusFormat::nextAgeChange(live_.store().sessions(), now);
        if (!next) {
            ageTimer_.stop();
            return;
        }
        ageTimer_.start(std::max(std::chrono::milliseconds(0), *next - now) + ageMargin);
    }

    void readKeys() {
        char keys[64];
        const auto count = ::read(STDIN_FILENO, keys, sizeof keys);
        if (count <= 0) {
            keys_->setEnabled(false);
            return;
        }
        for (ssize_t i = 0; i < count; ++i) {
            if (keys[i] == 'q' || keys[i] == 'Q' || keys[i] == '\x03') {
                quit(0);
                return;
            }
        }
    }

    void onSignal(int signal) {
        switch (signal) {
        case SIGWINCH:
            redraw_.start();
            return;
        case SIGTSTP:
            suspend();
            return;
        case SIGINT:
            quit(0);
            return;
        default:
            quit(128 + signal);
        }
    }

    // Gives the terminal back while stopped, and takes it again on continuing.
    void suspend() {
        terminal_.leave();
        std::signal(SIGTSTP, SIG_DFL);
        std::raise(SIGTSTP);
        signals_.reinstall(SIGTSTP);
        terminal_.enter();
        draw();
    }

    void quit(int code) {
        exitCode_ = code;
        terminal_.leave();
        QCoreApplication::quit();
    }

    CommandContext& context_;
    LiveSessions live_;
    Terminal terminal_;
    bool colour_;
    SignalPipe signals_;
    std::unique_ptr<QSocketNotifier> keys_;
    QTimer redraw_;
    QTimer ageTimer_;
    std::string lastFrame_;
    int exitCode_ = -1;
};

} // namespace

int watch(CommandContext& context, KeyValueStore& defaults) {
    repairHooksIfNeeded(context);
    WatchView view(context, defaults);
    return view.run();
}

} // namespace ostrelvan::cli
