#pragma once

#include "app/store/DisplayedSession.h"
#include "app/store/SessionStore.h"
#include "cli/KeyDecoder.h"
#include "cli/Notices.h"
#include "cli/Terminal.h"

#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ostrelvan::cli {

// The live list on a terminal: redrawn when the store publishes, when an age label turns over
// and when the terminal is resized; ↑/↓ select a session, Enter goes to it, ? shows the keys,
// q leaves. Without a terminal, each new state is appended to `log` instead.
class LiveView {
public:
    // Goes to a session; says why when it could not.
    using Open = std::function<std::optional<std::string>(const DisplayedSession& session)>;
    using NoticeSource = std::function<Notices()>;

    LiveView(SessionStore& store, NoticeSource notices, Open open, int input, int output,
             bool colour, std::ostream& log);

    // Starts the store and shows it until quit(); gives the terminal back as it was.
    int run();
    void quit(int code);
    // Gives the terminal back while the process is stopped, and takes it again after.
    void suspend();
    void redrawSoon() { redraw_.start(); }

private:
    void refreshNotices();
    void draw();
    void scheduleAgeRedraw();
    void readKeys();
    void press(Key key);
    std::optional<std::size_t> selected() const;
    void select(std::size_t index);

    SessionStore& store_;
    NoticeSource noticeSource_;
    Notices notices_;
    Open open_;
    Terminal terminal_;
    int input_;
    bool colour_;
    std::ostream& log_;
    KeyDecoder decoder_;
    std::unique_ptr<QSocketNotifier> keys_;
    QTimer redraw_;
    QTimer ageTimer_;
    QTimer noticeTimer_;
    QEventLoop loop_;
    // The selection follows its session when rows move; its place, when the session goes.
    std::optional<std::string> selectedId_;
    std::size_t selectedIndex_ = 0;
    std::size_t top_ = 0;
    std::size_t pageSize_ = 1;
    bool showingKeys_ = false;
    std::optional<std::string> message_;
    std::vector<std::string> lastLines_;
    bool quitting_ = false;
    int exitCode_ = 0;
};

} // namespace ostrelvan::cli
