#include "cli/OpenCommand.h"

#include "app/services/SessionOpening.h"
#include "cli/LiveSessions.h"
#include "cli/TerminalText.h"

#include <QEventLoop>
#include <ostream>

namespace ostrelvan::cli {

namespace {

void listCandidates(std::ostream& err, const std::vector<DisplayedSession>& sessions) {
    for (const auto& session : sessions) {
        using TerminalText::sanitized;
        err << "  " << session.id() << "  " << sanitized(session.name);
        if (const auto project = session.state.project(); project != session.name)
            err << " (" << sanitized(project) << ")";
        err << "\n";
    }
}

} // namespace

void goTo(const DisplayedSession& session, AcknowledgedStore& acknowledged, SessionOpening& opening,
          SessionOpening::Done done) {
    acknowledged.set(session.state.lastEvent, session.id());
    opening.open(session, std::nullopt, std::move(done));
}

std::vector<DisplayedSession> matchingSessions(const std::vector<DisplayedSession>& sessions,
                                               const std::string& query) {
    std::vector<DisplayedSession> found;
    for (const auto& session : sessions) {
        if (session.id() == query)
            return {session};
        if (session.id().starts_with(query))
            found.push_back(session);
    }
    return found;
}

int open(CommandContext& context, KeyValueStore& defaults, SessionOpening& opening,
         const std::string& query) {
    LiveSessions live(context, defaults);
    live.store().reload();
    const auto& sessions = live.store().sessions();
    const auto found = matchingSessions(sessions, query);
    if (found.empty()) {
        context.err << "ostrelvan: no session matches '" << TerminalText::sanitized(query) << "'";
        if (sessions.empty()) {
            context.err << "; there are no sessions\n";
        } else {
            context.err << "; the sessions are:\n";
            listCandidates(context.err, sessions);
        }
        return 1;
    }
    if (found.size() > 1) {
        context.err << "ostrelvan: '" << TerminalText::sanitized(query) << "' matches "
                    << found.size() << " sessions; give more of the id:\n";
        listCandidates(context.err, found);
        return 1;
    }
    QEventLoop loop;
    bool finished = false;
    goTo(found.front(), live.acknowledged(), opening, [&] {
        finished = true;
        loop.quit();
    });
    if (!finished)
        loop.exec();
    return 0;
}

} // namespace ostrelvan::cli
