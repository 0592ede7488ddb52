#include "cli/Terminal.h"

#include "base/FileSystem.h"

#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ostrelvan::cli {

namespace {

constexpr std::string_view enterScreen = "\033[?1049h\033[?25l";
constexpr std::string_view leaveScreen = "\033[?25h\033[?1049l";
constexpr std::string_view home = "\033[H";
constexpr std::string_view clearLine = "\033[2K";
constexpr std::string_view clearBelow = "\033[J";

} // namespace

Terminal::Terminal(int input, int output)
    : input_(input), output_(output), screen_(isatty(output) == 1),
      keys_(screen_ && isatty(input) == 1) {}

Terminal::~Terminal() {
    leave();
}

std::size_t Terminal::width() const {
    winsize size{};
    if (screen_ && ioctl(output_, TIOCGWINSZ, &size) == 0) {
        return size.ws_col;
    }
    return 0;
}

std::size_t Terminal::height() const {
    winsize size{};
    if (screen_ && ioctl(output_, TIOCGWINSZ, &size) == 0) {
        return size.ws_row;
    }
    return 0;
}

void Terminal::enter() {
    if (entered_ || !screen_) {
        return;
    }
    entered_ = true;
    if (keys_) {
        termios current{};
        if (tcgetattr(input_, &current) == 0) {
            saved_ = current;
            // Keys arrive one at a time and unechoed; Ctrl-C and Ctrl-Z still raise their signals.
            current.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            current.c_cc[VMIN] = 1;
            current.c_cc[VTIME] = 0;
            tcsetattr(input_, TCSANOW, &current);
        }
    }
    write(enterScreen);
}

void Terminal::leave() {
    if (!entered_) {
        return;
    }
    entered_ = false;
    write(leaveScreen);
    if (saved_) {
        tcsetattr(input_, TCSANOW, &*saved_);
        saved_.reset();
    }
}

void Terminal::draw(const std::vector<std::string>& lines) const {
    // Each row is cleared before it is written: clearing after a line that fills the row would
    // take its last character. No line feed after the last line: on the bottom row it would
    // scroll the title away.
    std::string text(home);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        text += clearLine;
        text += lines[i];
        if (i + 1 < lines.size()) {
            text += "\r\n";
        }
    }
    // What the previous frame had below this one goes, from the next row on (from the cursor it
    // would take the last character of a full row).
    if (lines.size() < height()) {
        text += lines.empty() ? "" : "\r\n";
        text += clearBelow;
    }
    write(text);
}

void Terminal::write(std::string_view text) const {
    // A terminal that went away takes the rest of the frame with it.
    FileSystem::writeAll(output_, text);
}

} // namespace ostrelvan::cli
