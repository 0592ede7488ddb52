#pragma once

#include "app/platform/Relaunch.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace ostrelvan {

// Relaunches the app: a separate shell waits for this process to exit and then starts the app
// again, so the two never overlap (the second would find the first and hand over to it).
class AppRestarter {
public:
    // Starts a detached process; on failure returns false with `error` set.
    using DetachedStart = std::function<bool(const Command& command, std::string& error)>;

    struct Process {
        std::filesystem::path executable;
        std::vector<std::string> arguments; // without the program name
        std::int64_t pid = 0;
    };

    AppRestarter(DetachedStart start, std::function<void()> quit, Process self);

    // Logs "restarting" and quits when the waiting shell started; otherwise logs why not and the
    // app keeps running. True when it quits.
    bool restart();

    // QtProcessStarter's detached start, with this app's output: the shell outlives this process,
    // and the new app writes where this one did.
    static DetachedStart detachedStart();

private:
    DetachedStart start_;
    std::function<void()> quit_;
    Process self_;
};

} // namespace ostrelvan
