#include "app/store/SessionStore.h"

#include "base/FileSystem.h"
#include "core/DisplayRules.h"
#include "core/SessionMerge.h"

#include <QLoggingCategory>
#include <QString>
#include <set>
#include <system_error>

namespace ostrelvan {

Q_LOGGING_CATEGORY(sessionsLog, "sessions")

std::optional<double> SessionStore::defaultReviewFade() {
    return DisplayRules::reviewToIdle;
}

SessionStore::SessionStore(SessionFileStore fileStore, AcknowledgedStore& acknowledged,
                           IsAlive isAlive, Clock clock,
                           std::vector<std::filesystem::path> claudeFolders, ClaudeSystem system,
                           ReviewFadeSource reviewFade, QObject* parent)
    : QObject(parent), fileStore_(std::move(fileStore)), acknowledged_(acknowledged),
      isAlive_(std::move(isAlive)), clock_(std::move(clock)),
      claudeFolders_(std::move(claudeFolders)), system_(std::move(system)),
      reviewFade_(std::move(reviewFade)) {
    refreshTask_.setInterval(refreshInterval);
    refreshTask_.setTimerType(Qt::PreciseTimer);
    connect(&refreshTask_, &QTimer::timeout, this, &SessionStore::reload);
}

void SessionStore::start() {
    // A folder that cannot be made now is watched for when the helper makes it.
    std::error_code ignored;
    FileSystem::createPrivateDirectories(fileStore_.directory(), ignored);
    watcher_ =
        std::make_unique<SessionFolderWatcher>(QString::fromStdString(fileStore_.directory()));
    connect(watcher_.get(), &SessionFolderWatcher::changed, this, &SessionStore::reload);
    refreshTask_.start();
    reload();
}

void SessionStore::reload() {
    const TimePoint now = clock_();
    const auto processes = system_.processes();
    std::set<std::int32_t> running;
    for (const auto& process : processes) {
        running.insert(process.pid);
    }
    const auto merged = SessionMerge::merge(liveHookStates(now, running), processes);

    std::vector<SessionState> kept;
    WindowKeys windows;
    for (SessionState state : merged) {
        const TranscriptInfo info = system_.transcript(state);
        if (!DisplayRules::isShown(state, claudeFolders_, info.exists)) {
            continue;
        }
        if (info.title) {
            state.title = info.title;
        }
        windows.emplace(state.sessionId, windowKey(state));
        kept.push_back(std::move(state));
    }

    const auto byWindow = [&windows](const SessionState& state) {
        return windows.at(state.sessionId);
    };
    auto groups = build(DisplayRules::grouped(std::move(kept), byWindow), windows, now);
    std::vector<DisplayedSession> sessions;
    for (const auto& group : groups) {
        sessions.insert(sessions.end(), group.sessions.begin(), group.sessions.end());
    }

    reportTransitions(sessions);
    std::set<std::string> shown;
    for (const auto& session : sessions) {
        shown.insert(session.id());
    }
    acknowledged_.prune(shown);
    publish(std::move(groups), std::move(sessions));
}

std::vector<SessionState> SessionStore::liveHookStates(TimePoint now,
                                                       const std::set<std::int32_t>& running) {
    // Temporaries last a few milliseconds unless their writer died: a look each minute is enough.
    // File times are the machine's, so is the clock they are compared with.
    const TimePoint wall = wallClockNow();
    if (!leftoversRemovedAt_ ||
        std::chrono::abs(wall - *leftoversRemovedAt_) >= SessionFileStore::leftoverAge) {
        fileStore_.removeLeftovers(wall);
        leftoversRemovedAt_ = wall;
    }
    std::vector<SessionState> live;
    auto states = fileStore_.loadAll(
        [this](const std::filesystem::path& path) { return decoded_.read(path); });
    decoded_.prune();
    const auto ended = [&](const SessionState& state) { return hasEnded(state, now, running); };
    for (auto& state : states) {
        if (!ended(state)) {
            live.push_back(std::move(state));
        } else if (fileStore_.removeIfEnded(state.sessionId, ended)) {
            qCInfo(sessionsLog) << "dropped an ended session";
        }
    }
    return live;
}

// A process the registry's liveness check has just let through needs no second look.
bool SessionStore::hasEnded(const SessionState& state, TimePoint now,
                            const std::set<std::int32_t>& running) const {
    if (!state.pid) {
        return DisplayRules::isStale(state, now);
    }
    const bool alive = running.contains(*state.pid) || isAlive_(*state.pid);
    return !alive || DisplayRules::isAbandoned(state, now);
}

// Agent processes started from one terminal tab or editor window share their parent.
std::string SessionStore::windowKey(const SessionState& state) const {
    if (state.pid) {
        if (const auto parent = system_.parent(*state.pid)) {
            return "window-" + std::to_string(*parent);
        }
    }
    return "session-" + state.sessionId;
}

std::vector<SessionGroup> SessionStore::build(const std::vector<std::vector<SessionState>>& grouped,
                                              const WindowKeys& windows, TimePoint now) const {
    const auto names = DisplayRules::names(grouped);
    const auto fade = reviewFade_();
    std::vector<SessionGroup> groups;
    for (const auto& states : grouped) {
        if (states.empty()) {
            continue;
        }
        SessionGroup group{windows.at(states.front().sessionId), states.front().project(), {}};
        for (const auto& state : states) {
            const auto status = DisplayRules::displayStatus(
                state, now, acknowledged_.acknowledgedAt(state.sessionId), fade);
            const auto name = names.find(state.sessionId);
            group.sessions.push_back(
                {state, status, name != names.end() ? name->second : state.project()});
        }
        groups.push_back(std::move(group));
    }
    return groups;
}

void SessionStore::reportTransitions(const std::vector<DisplayedSession>& sessions) {
    std::map<std::string, SessionStatus> statuses;
    for (const auto& session : sessions) {
        statuses.emplace(session.id(), session.status);
    }
    if (hasLoaded_) {
        for (const auto& session : sessions) {
            const auto previous = lastStatuses_.find(session.id());
            std::optional<SessionStatus> from;
            if (previous != lastStatuses_.end()) {
                from = previous->second;
            }
            if (from != session.status && onTransition) {
                onTransition({session.id(), from, session.status});
            }
        }
    }
    lastStatuses_ = std::move(statuses);
    hasLoaded_ = true;
}

void SessionStore::publish(std::vector<SessionGroup> groups,
                           std::vector<DisplayedSession> sessions) {
    const bool groupsDiffer = groups != groups_;
    const bool sessionsDiffer = sessions != sessions_;
    if (groupsDiffer) {
        groups_ = std::move(groups);
    }
    if (sessionsDiffer) {
        sessions_ = std::move(sessions);
    }
    // Both lists are assigned before either signal, so an observer never sees them disagree.
    if (groupsDiffer) {
        emit groupsChanged();
    }
    if (sessionsDiffer) {
        emit sessionsChanged();
    }
}

WidgetMetrics SessionStore::metrics(double canvasHeight) const {
    std::vector<int> sizes;
    sizes.reserve(groups_.size());
    for (const auto& group : groups_)
        sizes.push_back(static_cast<int>(group.sessions.size()));
    return {sizes, canvasHeight};
}

} // namespace ostrelvan
