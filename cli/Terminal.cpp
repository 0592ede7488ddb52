#include "Terminal.h"

#include "FileSystem.h"

#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ostrelvan::cli {

namespace {

constexpr std::string_view enterScreen = "\033[?1049h\033[?25l";
constexpr std::string_view leaveScreen = "\033[?25h\033[?1049l";
constexpr std::string_view clearScreen = "\033[H\033[2J";

} // namespace

Terminal::Terminal(int input, int output)
    : input_(input), output_(output), screen_(isatty(output) == 1),
      keys_(screen_ && isatty(input) == 1) {}

Terminal::~Terminal() {
    leave();
}

std::size_t Terminal::width() const {
    winsize size{};
    if (screen_ && ioctl(output_, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
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

void Terminal::draw(std::string_view frame) const {
    std::string text(clearScreen);
    text += frame;
    write(text);
}

void Terminal::write(std::string_view text) const {
    // A terminal that went away takes the rest of the frame with it.
    FileSystem::writeAll(output_, text);
}

} // namespace ostrelvan::cli
