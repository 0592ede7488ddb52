#pragma once

#include "app/services/ProcessStarter.h"

#include <QObject>
#include <string>

namespace ostrelvan {

// The starter over real processes. Programs are looked up on PATH and get no terminal: their
// standard input and error are null. Needs a running Qt event loop.
class QtProcessStarter : public QObject, public ProcessStarter {
    Q_OBJECT
public:
    // A program run to its end is stopped after this long.
    static constexpr std::chrono::seconds runLimit{10};

    // Where a detached program's standard output and error go.
    enum class Output { discarded, inherited };

    using QObject::QObject;

    // Starts a program that may outlive this process; false with the reason in `error`.
    static bool startDetached(const Command& command, Output output, std::string& error);

    bool start(const Command& command) override;
    void run(const Command& command, Finished finished) override;
    void after(std::chrono::milliseconds delay, std::function<void()> task) override;
};

} // namespace ostrelvan
