#include "cli/LiveSessions.h"

#include "app/store/LiveSessionStore.h"
#include "cli/ConnectCommand.h"
#include "cli/FailureText.h"
#include "core/DataPaths.h"
#include "core/DisplayRules.h"
#include "core/HookLogLine.h"

#include <fstream>
#include <set>

namespace ostrelvan::cli {

namespace fs = std::filesystem;

namespace {

ClaudeSystem recording(ClaudeSystem system,
                       const std::shared_ptr<std::vector<ClaudeProcess>>& processes) {
    system.processes = [inner = std::move(system.processes), processes] {
        *processes = inner();
        return *processes;
    };
    return system;
}

std::optional<TimePoint> lastLoggedAt(const fs::path& log) {
    std::ifstream in(log, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    // The log is rotated at a few dozen kilobytes; its last line is in the last few.
    in.seekg(0, std::ios::end);
    const auto size = static_cast<std::streamoff>(in.tellg());
    in.seekg(std::max<std::streamoff>(0, size - 4096));
    std::string tail((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    while (!tail.empty() && tail.back() == '\n') {
        tail.pop_back();
    }
    const auto start = tail.rfind('\n');
    const std::string last = tail.substr(start == std::string::npos ? 0 : start + 1);
    return HookLogLine::timeOf(last);
}

std::optional<TimePoint> newestSessionFile(const fs::path& folder) {
    std::optional<TimePoint> newest;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        if (it->path().extension() != ".json") {
            continue;
        }
        std::error_code ignored;
        const auto written = it->last_write_time(ignored);
        if (ignored) {
            continue;
        }
        const auto at = std::chrono::time_point_cast<std::chrono::milliseconds>(
            std::chrono::file_clock::to_sys(written));
        if (!newest || at > *newest) {
            newest = at;
        }
    }
    return newest;
}

// The helper's failures go only to its log. Errors after the newest session file was written
// mean events are being lost; without any session file, errors of the last hours count.
std::optional<fs::path> hookErrors(const fs::path& root, TimePoint now) {
    const fs::path log = DataPaths::hookLog(root);
    const auto logged = lastLoggedAt(log);
    if (!logged) {
        return std::nullopt;
    }
    const auto newest = newestSessionFile(root / "sessions");
    const bool recent =
        newest ? *logged > *newest : secondsBetween(*logged, now) < DisplayRules::staleAfter;
    return recent ? std::optional(log) : std::nullopt;
}

// A file where the data folder or one of its parents must be stops every session file.
std::optional<std::string> blockedFolder(const fs::path& folder) {
    for (fs::path at = folder; !at.empty() && at != at.parent_path(); at = at.parent_path()) {
        std::error_code error;
        const auto status = fs::status(at, error);
        if (fs::exists(status)) {
            if (fs::is_directory(status)) {
                return std::nullopt;
            }
            return "Cannot create " + folder.string() + ": " +
                   FailureText::reason(std::make_error_code(std::errc::not_a_directory)) + " (" +
                   at.string() + ").";
        }
    }
    return std::nullopt;
}

} // namespace

LiveSessions::LiveSessions(const CommandContext& context, KeyValueStore& defaults)
    : context_(context), acknowledged_(defaults),
      processes_(std::make_shared<std::vector<ClaudeProcess>>()),
      store_(LiveSessionStore::make(
          context.folders(), acknowledged_, recording(context.folders().liveSystem(), processes_),
          [&settings = context.settings] { return seconds(settings.reviewFade()); })) {}

Notices LiveSessions::notices() const {
    Notices notices;
    notices.notice = connectionNotice(context_);
    notices.connected = !notices.notice;
    const UserFolders folders = context_.folders();
    const fs::path root = folders.dataRoot();
    if (auto blocked = blockedFolder(folders.sessions())) {
        notices.notice = notices.notice ? *notices.notice + " " + *blocked : *blocked;
    }
    notices.hookErrors = hookErrors(root, wallClockNow());

    std::set<std::string> shown;
    for (const auto& session : store_.sessions()) {
        shown.insert(session.id());
    }
    // The same agents the store leaves out for want of a prompt, less its own helper runs.
    const auto ownFolders = folders.claudeOwnFolders();
    for (const auto& process : *processes_) {
        const bool interactive = !process.kind || *process.kind == "interactive";
        auto state = SessionState::make(process.sessionId, process.cwd, SessionHost::terminal,
                                        std::nullopt, process.pid, process.startedAt);
        state.startedConversation = true;
        if (interactive && !shown.contains(process.sessionId) &&
            DisplayRules::isShown(state, ownFolders, true)) {
            ++notices.waitingForPrompt;
        }
    }
    return notices;
}

} // namespace ostrelvan::cli
