#pragma once

#include "core/SessionActivity.h"
#include "core/SessionHost.h"
#include "core/SessionStatus.h"
#include "core/Time.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ostrelvan {

// What is known about one Claude Code session at one moment; one JSON file per session.
struct SessionState {
    static constexpr int currentSchema = 1;

    int schema = currentSchema;
    std::string sessionId;
    std::string cwd;
    std::optional<std::string> root;
    std::optional<std::string> title;
    SessionHost host = SessionHost::terminal;
    std::optional<std::string> terminalApp;
    std::optional<std::int32_t> pid;
    SessionStatus status = SessionStatus::idle;
    SessionActivity activity = SessionActivity::working;
    std::optional<std::string> tool;
    std::optional<std::string> detail;
    std::optional<std::string> pendingApproval;
    std::optional<TimePoint> approvalResolvedAt;
    int backgroundTasks = 0;
    TimePoint statusSince;
    TimePoint firstSeen;
    TimePoint lastEvent;
    std::optional<bool> startedConversation;

    // The record of a session seen for the first time.
    static SessionState make(std::string sessionId, std::string cwd, SessionHost host,
                             std::optional<std::string> terminalApp,
                             std::optional<std::int32_t> pid, TimePoint now);

    const std::string& id() const { return sessionId; }
    // `root` when present, otherwise `cwd`.
    const std::string& folder() const;
    // The last path component of `folder`, or `folder` itself when that component is empty.
    std::string project() const;

    bool operator==(const SessionState&) const = default;
};

} // namespace ostrelvan
