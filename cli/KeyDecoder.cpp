#include "cli/KeyDecoder.h"

#include <array>
#include <utility>

namespace ostrelvan::cli {

namespace {

// Cursor keys come as "ESC [ x" or, in the keypad's application mode, "ESC O x".
constexpr std::array<std::pair<std::string_view, Key>, 14> sequences{{
    {"\033[A", Key::up},
    {"\033OA", Key::up},
    {"\033[B", Key::down},
    {"\033OB", Key::down},
    {"\033[5~", Key::pageUp},
    {"\033[6~", Key::pageDown},
    {"\033[H", Key::home},
    {"\033OH", Key::home},
    {"\033[1~", Key::home},
    {"\033[7~", Key::home},
    {"\033[F", Key::end},
    {"\033OF", Key::end},
    {"\033[4~", Key::end},
    {"\033[8~", Key::end},
}};

Key single(char c) {
    switch (c) {
    case 'k':
        return Key::up;
    case 'j':
        return Key::down;
    case '\r':
    case '\n':
        return Key::enter;
    case '?':
        return Key::help;
    case 'q':
    case 'Q':
    case '\x03':
        return Key::quit;
    default:
        return Key::other;
    }
}

// Where the escape sequence starting `text` ends: a CSI ends at its final byte, an SS3 after one
// more byte, anything else after the escape itself. npos while incomplete.
std::size_t sequenceEnd(std::string_view text) {
    if (text.size() < 2) {
        return std::string_view::npos;
    }
    if (text[1] == 'O') {
        return text.size() < 3 ? std::string_view::npos : 3;
    }
    if (text[1] != '[') {
        return 1;
    }
    for (std::size_t i = 2; i < text.size(); ++i) {
        if (text[i] >= 0x40 && text[i] <= 0x7E) {
            return i + 1;
        }
    }
    return std::string_view::npos;
}

} // namespace

std::vector<Key> KeyDecoder::feed(std::string_view bytes) {
    pending_ += bytes;
    std::vector<Key> keys;
    std::string_view rest = pending_;
    while (!rest.empty()) {
        if (rest.front() != '\033') {
            keys.push_back(single(rest.front()));
            rest.remove_prefix(1);
            continue;
        }
        const auto end = sequenceEnd(rest);
        if (end == std::string_view::npos) {
            break;
        }
        Key key = Key::other;
        for (const auto& [sequence, meaning] : sequences) {
            if (rest.substr(0, end) == sequence) {
                key = meaning;
            }
        }
        keys.push_back(key);
        rest.remove_prefix(end);
    }
    pending_ = std::string(rest);
    return keys;
}

} // namespace ostrelvan::cli
