#include "cli/SignalPipe.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace ostrelvan::cli {

namespace {

int pipeEnds[2] = {-1, -1};

extern "C" void forward(int signal) {
    const int saved = errno;
    const auto byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const auto written = ::write(pipeEnds[1], &byte, 1);
    errno = saved;
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

} // namespace

SignalPipe::SignalPipe(std::initializer_list<int> signalNumbers, std::function<void(int)> onSignal)
    : onSignal_(std::move(onSignal)), signals_(signalNumbers) {
    // pipe2 is Linux-only; macOS needs the flags set one by one.
    if (pipe(pipeEnds) != 0) {
        return;
    }
    for (const int end : pipeEnds) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, fcntl(end, F_GETFL) | O_NONBLOCK);
    }
    notifier_ = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { drain(); });
    for (const int signal : signals_) {
        handle(signal, forward);
    }
}

SignalPipe::~SignalPipe() {
    for (const int signal : signals_) {
        handle(signal, SIG_DFL);
    }
    notifier_.reset();
    for (int& end : pipeEnds) {
        if (end >= 0) {
            close(end);
            end = -1;
        }
    }
}

void SignalPipe::reinstall(int signal) {
    handle(signal, forward);
}

void SignalPipe::drain() {
    unsigned char byte = 0;
    while (::read(pipeEnds[0], &byte, 1) == 1) {
        onSignal_(byte);
    }
}

} // namespace ostrelvan::cli
