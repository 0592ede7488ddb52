#include "app/store/LiveSessionStore.h"

#include "base/ProcessTable.h"

namespace ostrelvan::LiveSessionStore {

SessionStore make(const UserFolders& folders, AcknowledgedStore& acknowledged, ClaudeSystem system,
                  SessionStore::ReviewFadeSource reviewFade) {
    return SessionStore(SessionFileStore(folders.sessions()), acknowledged, ProcessTable::isAlive,
                        wallClockNow, folders.claudeOwnFolders(), std::move(system),
                        std::move(reviewFade));
}

} // namespace ostrelvan::LiveSessionStore
