#pragma once

#include "app/services/SessionOpening.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/DisplayedSession.h"
#include "app/store/KeyValueStore.h"
#include "cli/CommandContext.h"

#include <string>
#include <vector>

namespace ostrelvan::cli {

// The sessions `query` names: the one whose id it is, else every one whose id starts with it.
std::vector<DisplayedSession> matchingSessions(const std::vector<DisplayedSession>& sessions,
                                               const std::string& query);

// What `open` and the live view's Enter do once they know the session: mark it seen, as opening
// it from the widget does, then ask `opening` to take the user there; `done` once everything has
// been asked for.
void goTo(const DisplayedSession& session, AcknowledgedStore& acknowledged, SessionOpening& opening,
          SessionOpening::Done done = {});

// `ostrelvan open <id or unique prefix>`: acknowledges the session as opening it from the widget
// does, then goes to it. An unknown or ambiguous id exits 1 and lists the candidates.
int open(CommandContext& context, KeyValueStore& defaults, SessionOpening& opening,
         const std::string& query);

} // namespace ostrelvan::cli
