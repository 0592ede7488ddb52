#include "app/services/TmuxPane.h"

#include <algorithm>

namespace ostrelvan {

namespace {

// "%" and at least one digit.
bool isPaneId(std::string_view text) {
    return text.size() > 1 && text.front() == '%' &&
           std::all_of(text.begin() + 1, text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::optional<TmuxPane> TmuxPane::fromEnvironment(const Environment& environment) {
    const auto tmux = nonEmpty(environment, "TMUX");
    const auto pane = nonEmpty(environment, "TMUX_PANE");
    if (!tmux || !pane || !isPaneId(*pane))
        return std::nullopt;
    // The socket path comes first and may itself hold commas; the last two fields are numbers.
    const auto last = tmux->rfind(',');
    const auto middle =
        last == std::string::npos || last == 0 ? std::string::npos : tmux->rfind(',', last - 1);
    if (middle == std::string::npos || middle == 0)
        return std::nullopt;
    return TmuxPane{tmux->substr(0, middle), *pane};
}

std::optional<TmuxPane> TmuxPane::fromRegistry(std::string_view field) {
    const auto at = field.rfind(".%");
    if (at == std::string_view::npos || field.find(":@") == std::string_view::npos)
        return std::nullopt;
    const auto pane = field.substr(at + 1);
    if (!isPaneId(pane))
        return std::nullopt;
    return TmuxPane{std::nullopt, std::string(pane)};
}

Command TmuxPane::command(const Command& arguments) const {
    Command result{"tmux"};
    if (socket) {
        result.push_back("-S");
        result.push_back(*socket);
    }
    result.insert(result.end(), arguments.begin(), arguments.end());
    return result;
}

Command TmuxPane::listClients() const {
    return command({"list-clients", "-F", "#{client_activity} #{client_pid} #{client_tty}"});
}

Command TmuxPane::select(const std::optional<std::string>& clientTty) const {
    Command arguments{"select-window", "-t", pane, ";", "select-pane", "-t", pane};
    if (clientTty) {
        for (const auto& word : {";", "switch-client", "-c"})
            arguments.emplace_back(word);
        arguments.push_back(*clientTty);
        arguments.emplace_back("-t");
        arguments.push_back(pane);
    }
    return command(arguments);
}

} // namespace ostrelvan
