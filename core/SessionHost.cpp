#include "SessionHost.h"

namespace ostrelvan {

std::string_view toString(SessionHost host) {
    return host == SessionHost::vscode ? "vscode" : "terminal";
}

template <> std::optional<SessionHost> fromString<SessionHost>(std::string_view text) {
    if (text == "vscode")
        return SessionHost::vscode;
    if (text == "terminal")
        return SessionHost::terminal;
    return std::nullopt;
}

} // namespace ostrelvan
