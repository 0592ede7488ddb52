#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ostrelvan::cli {

// The keys the live view answers to, from the bytes a terminal sends for them.
enum class Key { up, down, pageUp, pageDown, home, end, enter, help, quit, other };

// Turns terminal input into keys. An escape sequence may arrive split over two reads: its start
// is kept for the next one.
class KeyDecoder {
public:
    std::vector<Key> feed(std::string_view bytes);

private:
    std::string pending_;
};

} // namespace ostrelvan::cli
