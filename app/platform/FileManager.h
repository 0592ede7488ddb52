#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace ostrelvan::FileManager {

// Asks the file manager to show `path` selected in its folder, then calls `done` with whether one
// answered (on Linux later, from the Qt event loop; the request never blocks). `userTime` is the
// window-system time of the user's click, which lets the file manager's window come forward.
void showItem(const std::string& path, std::optional<std::uint32_t> userTime,
              std::function<void(bool shown)> done);

} // namespace ostrelvan::FileManager
