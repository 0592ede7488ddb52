#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <termios.h>

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
    std::size_t width() const;

    void enter();
    void leave();
    // Replaces the whole screen with `frame`.
    void draw(std::string_view frame) const;

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
