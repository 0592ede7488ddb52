#include "app/services/TmuxClient.h"

#include <charconv>

namespace ostrelvan {

namespace {

template <class Number> std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

// "<activity> <pid> <tty>"
std::optional<TmuxClient> parse(std::string_view line) {
    const auto first = line.find(' ');
    const auto second = first == std::string_view::npos ? first : line.find(' ', first + 1);
    if (second == std::string_view::npos || second + 1 == line.size())
        return std::nullopt;
    const auto activity = number<long long>(line.substr(0, first));
    const auto pid = number<std::int32_t>(line.substr(first + 1, second - first - 1));
    if (!activity || !pid || *pid < 1)
        return std::nullopt;
    return TmuxClient{*activity, *pid, std::string(line.substr(second + 1))};
}

} // namespace

std::optional<TmuxClient> TmuxClient::mostRecent(std::string_view listing) {
    std::optional<TmuxClient> best;
    while (!listing.empty()) {
        const auto end = listing.find('\n');
        const auto line = listing.substr(0, end);
        listing = end == std::string_view::npos ? std::string_view{} : listing.substr(end + 1);
        if (auto client = parse(line); client && (!best || client->activity > best->activity))
            best = std::move(client);
    }
    return best;
}

} // namespace ostrelvan
