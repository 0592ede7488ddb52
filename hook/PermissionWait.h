#pragma once

#include "base/Environment.h"
#include "core/PermissionMessage.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan::PermissionWait {

// Claude Code's PermissionRequest entry is written with a 600 s timeout; the helper gives up a
// little before it is killed for it.
inline constexpr std::chrono::seconds defaultLimit{590};
// How long the app has to say whether it offers the request, and the helper to deliver it.
inline constexpr std::chrono::milliseconds answerLimit{1000};

// Whether the session can have a user to answer: never a `claude -p` or SDK run, which would be
// held by the wait.
bool interactive(const Environment& environment);

// The wait limit: OSTRELVAN_PERMISSION_TIMEOUT (whole seconds) when it is shorter than the
// default, else the default.
std::chrono::milliseconds limit(const Environment& environment);

using Log = std::function<void(std::string_view)>;
// Builds the request, only once an app of this user is there to take it: without one, the helper
// exits having spent nothing on it.
using Request = std::function<PermissionMessage()>;

// Offers the request to the desktop app listening on `socket` and waits for the user's answer.
// Returns Claude Code's output for a decision; none when the app is not there, is another user's,
// declines, goes away or withdraws the request, on SIGTERM, SIGINT or SIGHUP, and at `limit`.
// Uses no threads and starts no process. Never throws; problems worth knowing go to `log`.
std::optional<std::string> ask(const std::filesystem::path& socket, const Request& request,
                               std::chrono::milliseconds limit, const Log& log) noexcept;

} // namespace ostrelvan::PermissionWait
