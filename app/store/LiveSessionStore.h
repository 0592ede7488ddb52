#pragma once

#include "app/discovery/ClaudeSystem.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/SessionStore.h"
#include "app/store/UserFolders.h"

namespace ostrelvan::LiveSessionStore {

// The store over this user's sessions: the session files in the data root, the process table,
// the wall clock and Claude Code's own folders, with `system` as its view of Claude Code (the
// folders' live one, or none where nothing may be read) and the user's review fade.
SessionStore make(const UserFolders& folders, AcknowledgedStore& acknowledged, ClaudeSystem system,
                  SessionStore::ReviewFadeSource reviewFade);

} // namespace ostrelvan::LiveSessionStore
