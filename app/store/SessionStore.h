#pragma once

#include "app/discovery/ClaudeSystem.h"
#include "app/discovery/FileDecodeCache.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/DisplayedSession.h"
#include "app/store/SessionFolderWatcher.h"
#include "app/store/SessionGroup.h"
#include "app/store/SessionTransition.h"
#include "app/widgetmodel/WidgetMetrics.h"
#include "base/ProcessTable.h"
#include "core/SessionFileStore.h"
#include "core/SessionStatus.h"
#include "core/Time.h"

#include <QObject>
#include <QTimer>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace ostrelvan {

// The app's one source of truth about sessions. Every reload looks at everything again (session
// files, Claude Code's registry, liveness, transcripts, acknowledgements), decoding only the files
// that changed, deletes the files of sessions that ended, and publishes the groups and sessions
// only when they changed.
class SessionStore : public QObject {
    Q_OBJECT
public:
    using IsAlive = std::function<bool(std::int32_t pid)>;
    using Clock = std::function<TimePoint()>;
    using ReviewFadeSource = std::function<std::optional<double>()>;
    using TransitionHandler = std::function<void(const SessionTransition&)>;

    static constexpr std::chrono::seconds refreshInterval{15};

    static std::optional<double> defaultReviewFade();

    // `claudeFolders` are Claude Code's own folders (ClaudeRegistry::ownFolders): sessions run
    // inside them are hidden.
    SessionStore(SessionFileStore fileStore, AcknowledgedStore& acknowledged,
                 IsAlive isAlive = ProcessTable::isAlive, Clock clock = wallClockNow,
                 std::vector<std::filesystem::path> claudeFolders = {},
                 ClaudeSystem system = ClaudeSystem::none(),
                 ReviewFadeSource reviewFade = defaultReviewFade, QObject* parent = nullptr);

    const std::vector<SessionGroup>& groups() const { return groups_; }
    const std::vector<DisplayedSession>& sessions() const { return sessions_; }
    // The widget's geometry for the current groups.
    WidgetMetrics metrics(double canvasHeight) const;

    // Called inside reload(), once per session whose displayed status changed.
    TransitionHandler onTransition;

    // Creates the sessions folder, starts watching it and refreshing, and reloads once.
    void start();
    void reload();

    const SessionFileStore& fileStore() const { return fileStore_; }
    bool isWatching() const { return watcher_ != nullptr; }

signals:
    void groupsChanged();
    void sessionsChanged();

private:
    using WindowKeys = std::map<std::string, std::string>;

    std::vector<SessionState> liveHookStates(TimePoint now, const std::set<std::int32_t>& running);
    bool hasEnded(const SessionState& state, TimePoint now,
                  const std::set<std::int32_t>& running) const;
    std::string windowKey(const SessionState& state) const;
    std::vector<SessionGroup> build(const std::vector<std::vector<SessionState>>& grouped,
                                    const WindowKeys& windows, TimePoint now) const;
    void reportTransitions(const std::vector<DisplayedSession>& sessions);
    void publish(std::vector<SessionGroup> groups, std::vector<DisplayedSession> sessions);

    SessionFileStore fileStore_;
    AcknowledgedStore& acknowledged_;
    IsAlive isAlive_;
    Clock clock_;
    std::vector<std::filesystem::path> claudeFolders_;
    ClaudeSystem system_;
    ReviewFadeSource reviewFade_;
    // Most session files are unchanged since the previous reload.
    FileDecodeCache<SessionState> decoded_{SessionFileStore::decode};
    std::optional<TimePoint> leftoversRemovedAt_;
    std::unique_ptr<SessionFolderWatcher> watcher_;
    QTimer refreshTask_;
    std::map<std::string, SessionStatus> lastStatuses_;
    bool hasLoaded_ = false;
    std::vector<SessionGroup> groups_;
    std::vector<DisplayedSession> sessions_;
};

} // namespace ostrelvan
