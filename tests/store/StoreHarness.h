#pragma once

#include "TestSupport.h"
#include "app/discovery/ClaudeSystem.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/MemoryKeyValueStore.h"
#include "app/store/SessionStore.h"
#include "core/SessionFileStore.h"

#include <QTemporaryDir>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace ostrelvan::test {

using namespace std::chrono_literals;

// Enumerations compared as their raw text, so a failure says which value came.
template <class Enum> QString text(Enum value) {
    const auto raw = toString(value);
    return QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size()));
}

inline TimePoint at(double secondsAfterStart) {
    const TimePoint start = std::chrono::sys_days{std::chrono::November / 21 / 2026} + 9h;
    return addSeconds(start, secondsAfterStart);
}

// A session that has had its first prompt, in status `status` since `time`.
inline SessionState session(const std::string& id, SessionStatus status, TimePoint time,
                            std::optional<std::int32_t> pid = std::nullopt) {
    auto state =
        SessionState::make(id, "/work/" + id, SessionHost::terminal, std::nullopt, pid, time);
    state.status = status;
    state.startedConversation = true;
    return state;
}

// A store over a real temporary sessions folder, with the machine, the clock and the review
// fade under the test's control.
struct StoreHarness {
    QTemporaryDir folder;
    SessionFileStore files{folder.filePath(QStringLiteral("sessions")).toStdString()};
    MemoryKeyValueStore defaults;
    AcknowledgedStore acknowledged{defaults};
    TimePoint now = at(0);
    std::set<std::int32_t> alive;
    std::map<std::int32_t, std::int32_t> parents;
    std::vector<ClaudeProcess> processes;
    std::map<std::string, TranscriptInfo> transcripts;
    std::optional<double> fade = 600;
    std::vector<SessionTransition> transitions;
    SessionStore store{files,
                       acknowledged,
                       [this](std::int32_t pid) { return alive.contains(pid); },
                       [this] { return now; },
                       {"/home/ana/.claude"},
                       system(),
                       [this] { return fade; }};

    StoreHarness() {
        store.onTransition = [this](const SessionTransition& t) { transitions.push_back(t); };
    }

    ClaudeSystem system() {
        return {[this] { return processes; },
                [this](std::int32_t pid) {
                    return parents.contains(pid) ? std::optional(parents.at(pid)) : std::nullopt;
                },
                [this](const SessionState& s) {
                    return transcripts.contains(s.sessionId) ? transcripts.at(s.sessionId)
                                                             : TranscriptInfo{};
                }};
    }

    void put(const SessionState& state) {
        std::filesystem::create_directories(files.directory());
        SessionFileStore::write(state, files.fileURL(state.sessionId));
    }

    // "id name: session=row name/status, …; …", one failure message that shows the whole list.
    QString layout() const {
        QStringList groups;
        for (const auto& group : store.groups()) {
            QStringList rows;
            for (const auto& shown : group.sessions)
                rows << QString::fromStdString(shown.id() + "=" + shown.name + "/") +
                            text(shown.status);
            groups << QString::fromStdString(group.id + " " + group.name + ": ") + rows.join(", ");
        }
        return groups.join("; ");
    }

    std::vector<std::string> shownIds() const {
        std::vector<std::string> ids;
        for (const auto& shown : store.sessions())
            ids.push_back(shown.id());
        return ids;
    }

    std::vector<SessionTransition> takeTransitions() { return std::exchange(transitions, {}); }
};

} // namespace ostrelvan::test
