#include "cli/LiveView.h"

#include "cli/LiveFrame.h"
#include "cli/StatusFormat.h"

#include <algorithm>
#include <csignal>
#include <ostream>
#include <unistd.h>

namespace ostrelvan::cli {

namespace {

// Lets an age label turn over before the redraw that shows it.
constexpr std::chrono::milliseconds ageMargin{50};
// The connection and the hook log can change without any session file changing.
constexpr std::chrono::seconds noticeInterval{15};

} // namespace

LiveView::LiveView(SessionStore& store, NoticeSource notices, Open open, int input, int output,
                   bool colour, std::ostream& log)
    : store_(store), noticeSource_(std::move(notices)), open_(std::move(open)),
      terminal_(input, output), input_(input), colour_(colour), log_(log) {
    redraw_.setSingleShot(true);
    redraw_.setInterval(0);
    QObject::connect(&redraw_, &QTimer::timeout, [this] { draw(); });
    ageTimer_.setSingleShot(true);
    QObject::connect(&ageTimer_, &QTimer::timeout, [this] { draw(); });
    noticeTimer_.setInterval(noticeInterval);
    QObject::connect(&noticeTimer_, &QTimer::timeout, [this] {
        const auto before = notices_;
        refreshNotices();
        if (notices_ != before) {
            draw();
        }
    });
    const auto changed = [this] {
        refreshNotices();
        redraw_.start();
    };
    QObject::connect(&store_, &SessionStore::groupsChanged, changed);
    QObject::connect(&store_, &SessionStore::sessionsChanged, changed);
    if (terminal_.readsKeys()) {
        keys_ = std::make_unique<QSocketNotifier>(input_, QSocketNotifier::Read);
        QObject::connect(keys_.get(), &QSocketNotifier::activated, [this] { readKeys(); });
    }
}

int LiveView::run() {
    terminal_.enter();
    store_.start();
    redraw_.stop(); // the first publish is drawn right here
    refreshNotices();
    draw();
    noticeTimer_.start();
    if (!quitting_) {
        loop_.exec();
    }
    terminal_.leave();
    return exitCode_;
}

void LiveView::quit(int code) {
    exitCode_ = code;
    quitting_ = true;
    terminal_.leave();
    loop_.exit();
}

void LiveView::suspend() {
    terminal_.leave();
    std::signal(SIGTSTP, SIG_DFL);
    std::raise(SIGTSTP);
    terminal_.enter();
    draw();
}

void LiveView::refreshNotices() {
    if (noticeSource_) {
        notices_ = noticeSource_();
    }
}

std::optional<std::size_t> LiveView::selected() const {
    const auto& sessions = store_.sessions();
    if (sessions.empty()) {
        return std::nullopt;
    }
    if (selectedId_) {
        const auto it = std::find_if(sessions.begin(), sessions.end(), [&](const auto& session) {
            return session.id() == *selectedId_;
        });
        if (it != sessions.end()) {
            return static_cast<std::size_t>(it - sessions.begin());
        }
    }
    return std::min(selectedIndex_, sessions.size() - 1);
}

void LiveView::select(std::size_t index) {
    const auto& sessions = store_.sessions();
    if (sessions.empty()) {
        return;
    }
    selectedIndex_ = std::min(index, sessions.size() - 1);
    selectedId_ = sessions[selectedIndex_].id();
}

void LiveView::draw() {
    const bool screen = terminal_.drawsScreens();
    LiveFrame::Input input;
    input.groups = store_.groups();
    input.now = wallClockNow();
    input.notices = notices_;
    input.selected = selected();
    input.top = top_;
    input.showingKeys = showingKeys_;
    input.message = message_;
    input.colour = colour_;
    input.readsKeys = terminal_.readsKeys();
    // A terminal that does not know its size is taken to be the classic one.
    input.width = screen ? terminal_.width() : 0;
    input.height = screen ? terminal_.height() : 0;
    if (screen && (input.width == 0 || input.height == 0)) {
        input.width = 80;
        input.height = 24;
    }
    const LiveFrame frame = LiveFrame::compose(input);
    top_ = frame.top;
    if (frame.pageSize > 0) {
        pageSize_ = frame.pageSize;
    }
    if (screen) {
        terminal_.draw(frame.lines);
    } else if (frame.lines != lastLines_) {
        for (const auto& line : frame.lines) {
            log_ << line << "\n";
        }
        log_ << "\n";
        log_.flush();
    }
    lastLines_ = frame.lines;
    scheduleAgeRedraw();
}

void LiveView::scheduleAgeRedraw() {
    const auto now = wallClockNow();
    const auto next = StatusFormat::nextAgeChange(store_.sessions(), now);
    if (!next) {
        ageTimer_.stop();
        return;
    }
    ageTimer_.start(std::max(std::chrono::milliseconds(0), *next - now) + ageMargin);
}

void LiveView::readKeys() {
    char bytes[64];
    const auto count = ::read(input_, bytes, sizeof bytes);
    if (count <= 0) {
        keys_->setEnabled(false);
        return;
    }
    for (const Key key : decoder_.feed(std::string_view(bytes, static_cast<std::size_t>(count)))) {
        press(key);
        if (quitting_) {
            return;
        }
    }
    draw();
}

void LiveView::press(Key key) {
    if (key == Key::quit) {
        quit(0);
        return;
    }
    message_.reset();
    if (showingKeys_) {
        showingKeys_ = false;
        return;
    }
    const std::size_t current = selected().value_or(0);
    switch (key) {
    case Key::up:
        select(current > 0 ? current - 1 : 0);
        break;
    case Key::down:
        select(current + 1);
        break;
    case Key::pageUp:
        select(current > pageSize_ ? current - pageSize_ : 0);
        break;
    case Key::pageDown:
        select(current + pageSize_);
        break;
    case Key::home:
        select(0);
        break;
    case Key::end:
        select(store_.sessions().empty() ? 0 : store_.sessions().size() - 1);
        break;
    case Key::help:
        showingKeys_ = true;
        break;
    case Key::enter:
        if (const auto index = selected(); index && open_) {
            // The store is asked again at once, so the opened session's lamp changes now.
            message_ = open_(store_.sessions()[*index]);
            store_.reload();
            refreshNotices();
        }
        break;
    case Key::quit:
    case Key::other:
        break;
    }
}

} // namespace ostrelvan::cli
