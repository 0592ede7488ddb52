#pragma once

#include <QSocketNotifier>
#include <functional>
#include <initializer_list>
#include <memory>
#include <vector>

namespace ostrelvan::cli {

// Delivers POSIX signals to the event loop: the handler only writes the signal's number to a
// pipe, which the loop reads like any other input. One instance at a time.
class SignalPipe {
public:
    SignalPipe(std::initializer_list<int> signalNumbers, std::function<void(int)> onSignal);
    ~SignalPipe();
    SignalPipe(const SignalPipe&) = delete;
    SignalPipe& operator=(const SignalPipe&) = delete;

    // Puts back the handler of `signal` (after the default action ran, say).
    void reinstall(int signal);

private:
    void drain();

    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::vector<int> signals_;
};

} // namespace ostrelvan::cli
