#include "core/SessionState.h"

namespace ostrelvan {

SessionState SessionState::make(std::string sessionId, std::string cwd, SessionHost host,
                                std::optional<std::string> terminalApp,
                                std::optional<std::int32_t> pid, TimePoint now) {
    SessionState state;
    state.sessionId = std::move(sessionId);
    state.cwd = std::move(cwd);
    if (!state.cwd.empty())
        state.root = state.cwd;
    state.host = host;
    state.terminalApp = std::move(terminalApp);
    state.pid = pid;
    state.statusSince = now;
    state.firstSeen = now;
    state.lastEvent = now;
    state.startedConversation = false;
    return state;
}

const std::string& SessionState::folder() const {
    return root ? *root : cwd;
}

std::string SessionState::project() const {
    const std::string& path = folder();
    std::string_view view = path;
    // A trailing slash does not make an empty last component ("/a/b/" is "b").
    while (view.size() > 1 && view.back() == '/')
        view.remove_suffix(1);
    auto slash = view.rfind('/');
    std::string_view last = slash == std::string_view::npos ? view : view.substr(slash + 1);
    return last.empty() ? path : std::string(last);
}

} // namespace ostrelvan
