#pragma once

#include "app/platform/Command.h"

#include <chrono>
#include <functional>
#include <string>

namespace ostrelvan {

// Starts the programs that take the user somewhere, never waiting for one: everything it reports
// arrives later on the main thread. Replaced by a recording fake in tests.
class ProcessStarter {
public:
    struct Result {
        bool started = false;
        int exitCode = -1;
        std::string output; // standard output

        bool succeeded() const { return started && exitCode == 0; }
    };
    using Finished = std::function<void(const Result&)>;

    virtual ~ProcessStarter() = default;

    // Starts a program that may outlive this process (an editor, a file manager); false when it
    // could not be started.
    virtual bool start(const Command& command) = 0;
    // Runs a short program to its end and reports how it went.
    virtual void run(const Command& command, Finished finished) = 0;
    // Calls `task` once after `delay`.
    virtual void after(std::chrono::milliseconds delay, std::function<void()> task) = 0;
};

} // namespace ostrelvan
