#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace ostrelvan::WindowActivation {

enum class Outcome {
    activated,  // the window manager was asked to bring a window forward
    noWindow,   // no process of the chain owns a window that can be seen
    unavailable // no window system to ask (no display, or one this code cannot address)
};

// A top-level window and the process that owns it.
struct ClientWindow {
    std::uint32_t id = 0;
    std::int32_t pid = 0;

    bool operator==(const ClientWindow&) const = default;
};

// The window to bring forward for a chain of processes, nearest first (the agent, its parents):
// the topmost window of the first process in the chain that owns one. `windows` are in stacking
// order, bottom first.
std::optional<std::uint32_t> choose(const std::vector<std::int32_t>& chain,
                                    const std::vector<ClientWindow>& windows);

// Finds that window, switches to its desktop and asks the window manager to activate it the way
// a pager does. `userTime` is the window-system time of the user's click; without one the current
// time is used, which suits a command the user has just typed.
Outcome activate(const std::vector<std::int32_t>& chain, std::optional<std::uint32_t> userTime);

} // namespace ostrelvan::WindowActivation
