#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <termios.h>
#include <vector>

namespace ostrelvan::cli {

// The terminal the live view draws on: the alternate screen without a cursor, and keys read one
// at a time without echo. Whatever was changed is put back on leave() and on destruction.
class Terminal {
public:
    Terminal(int input, int output);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool drawsScreens() const { return screen_; }
    bool readsKeys() const { return keys_; }
    // The size of the screen; 0 when there is none.
    std::size_t width() const;
    std::size_t height() const;

    void enter();
    void leave();
    // Replaces the whole screen with `lines`, each no wider than the screen and no more of them
    // than it has rows. Written over the old frame in one go, without clearing it first.
    void draw(const std::vector<std::string>& lines) const;

private:
    void write(std::string_view text) const;

    int input_;
    int output_;
    bool screen_;
    bool keys_;
    bool entered_ = false;
    std::optional<termios> saved_;
};

} // namespace ostrelvan::cli
