// ostrelvan-hook: Claude Code runs this on every hook event with the event's JSON on standard
// input. It folds the event into the session's file and stays silent: Claude Code reads a hook's
// standard output as a decision and exit status 2 as "block", so it always exits 0 and reports
// failures only to <data root>/hook.log. The one exception is a permission request the desktop
// app offers to the user: the user's decision there is printed.
#include "base/FileSystem.h"
#include "core/ApprovalDetail.h"
#include "core/DataPaths.h"
#include "core/HookEvent.h"
#include "core/HostDetector.h"
#include "core/SessionFileStore.h"
#include "hook/AgentProcess.h"
#include "hook/HookLog.h"
#include "hook/PermissionWait.h"

#include <cstdio>
#include <filesystem>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <optional>
#include <string>
#include <unistd.h>

#ifndef OSTRELVAN_VERSION
#define OSTRELVAN_VERSION "0.0.0"
#endif

namespace {

using namespace ostrelvan;

constexpr const char* helpText =
    "Usage: ostrelvan-hook [--help | --version]\n"
    "\n"
    "Records one Claude Code hook event for Ostrelvan. Claude Code runs it with the event's JSON\n"
    "payload on standard input; it updates <data root>/sessions/<session id>.json. It always\n"
    "exits 0; failures are appended to <data root>/hook.log.\n"
    "\n"
    "On PermissionRequest in an interactive session, when the desktop app answers permission\n"
    "requests (it listens on <data root>/permission.sock), it offers the request to the app and\n"
    "waits for the user's answer there: it prints Claude Code's decision, or nothing when the\n"
    "user answers in the terminal, the app goes away, or the wait ends (590 s, or\n"
    "$OSTRELVAN_PERMISSION_TIMEOUT seconds when shorter). Otherwise it prints nothing.\n"
    "\n"
    "Data root: the one it was installed for by `ostrelvan connect`, as <data root>/bin/\n"
    "ostrelvan-hook; otherwise $OSTRELVAN_DATA_DIR when set, else $XDG_DATA_HOME/Ostrelvan or\n"
    "~/.local/share/Ostrelvan (~/Library/Application Support/Ostrelvan on macOS).\n";

// Run by hand at a terminal, the helper would wait for a payload nobody types.
constexpr const char* atTerminalText =
    "ostrelvan-hook is Ostrelvan's hook helper: Claude Code runs it on every hook event with the\n"
    "event's JSON on standard input. With nothing piped in there is nothing to record, so it\n"
    "stops here. See `ostrelvan-hook --help`, and `ostrelvan connect` to register it.\n";

// The root this helper was installed for, when it is the installed copy: Claude Code may start it
// without the OSTRELVAN_DATA_DIR the app was started with, and the app reads only its own root.
// Claude Code runs the helper by the absolute path written in its settings, so argv[0] holds it.
std::optional<std::filesystem::path> installedRoot(const char* self) {
    const std::filesystem::path helper = self ? self : "";
    const std::filesystem::path bin = helper.parent_path();
    if (!helper.is_absolute() || helper.filename() != "ostrelvan-hook" || bin.filename() != "bin" ||
        ::access((bin / DataPaths::installedMarker).c_str(), F_OK) != 0)
        return std::nullopt;
    return bin.parent_path();
}

struct Recorded {
    std::filesystem::path root;
    std::optional<HookEvent> event;
};

// The event read from standard input, once it is in its session's file and the session's lock is
// released; none without a data root.
std::optional<Recorded> record(const Environment& environment, const char* self) {
    std::optional<std::filesystem::path> root = installedRoot(self);
    // Without either variable there is no data root, only a path relative to the agent's project.
    if (!root && !nonEmpty(environment, "OSTRELVAN_DATA_DIR") && !nonEmpty(environment, "HOME"))
        return std::nullopt;
    if (!root)
        root = DataPaths::root(environment);
    const TimePoint now = wallClockNow();
    std::string failure;
    Recorded recorded{*root, std::nullopt};
    try {
        const HookEvent& event = recorded.event.emplace(HookEvent::read(STDIN_FILENO));
        EventContext context{now, HostDetector::host(environment),
                             HostDetector::terminalApp(environment),
                             AgentProcess::find(environment, static_cast<std::int32_t>(getppid()),
                                                ProcessTable::entry)};
        try {
            SessionFileStore(DataPaths::sessions(*root)).apply(event, context);
        } catch (const std::exception& error) {
            failure = event.rawName + " for session " + event.sessionId.substr(0, 160) + ": " +
                      error.what();
        }
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!failure.empty())
        HookLog::append(*root, now, failure);
    return recorded;
}

// A permission request is offered to the desktop app, which may let the user answer it there;
// the decision, if one comes, is the only thing this helper ever prints.
void offer(const Environment& environment, const Recorded& recorded) {
    const HookEvent& event = *recorded.event;
    const auto request = [&event] {
        nlohmann::ordered_json suggestions = nlohmann::ordered_json::array();
        if (event.permissionSuggestions)
            suggestions =
                nlohmann::ordered_json::parse(*event.permissionSuggestions, nullptr, false);
        return PermissionMessage::request(
            PermissionWire::newRequestId(), event.sessionId, event.promptId, event.cwd,
            event.toolName.value_or(""), ApprovalDetail::describe(event).value_or(""), suggestions);
    };
    const std::filesystem::path& root = recorded.root;
    const std::optional<std::string> output = PermissionWait::ask(
        DataPaths::permissionSocket(root), request, PermissionWait::limit(environment),
        [&root](std::string_view problem) { HookLog::append(root, wallClockNow(), problem); });
    if (output)
        FileSystem::writeAll(STDOUT_FILENO, *output);
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        std::string_view argument = argv[1];
        if (argument == "--version") {
            std::fputs("ostrelvan-hook " OSTRELVAN_VERSION "\n", stdout);
            return 0;
        }
        if (argument == "--help" || argument == "-h") {
            std::fputs(helpText, stdout);
            return 0;
        }
    }
    if (isatty(STDIN_FILENO) == 1) {
        std::fputs(atTerminalText, stdout);
        return 0;
    }
#ifdef __GLIBC__
    // A fixed threshold keeps large blocks (a tool's output being parsed) in their own mappings,
    // returned as soon as they are freed; glibc's sliding threshold would keep them resident.
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
#endif
    try {
        const Environment environment = processEnvironment();
        const std::optional<Recorded> recorded = record(environment, argv[0]);
        if (recorded && recorded->event &&
            recorded->event->kind == HookEvent::Kind::permissionRequest &&
            PermissionWait::interactive(environment))
            offer(environment, *recorded);
    } catch (...) {
        // Nothing can be reported when even the environment cannot be read.
    }
    return 0;
}
