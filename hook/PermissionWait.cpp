#include "hook/PermissionWait.h"

#include "base/FileDescriptor.h"
#include "base/PeerCredentials.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ostrelvan::PermissionWait {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Written by the signal handler, read by the poll: a signal ends the wait at the next poll
// whatever the moment it arrives.
int signalWriter = -1;

extern "C" void onSignal(int) {
    const int saved = errno;
    const char byte = 1;
    [[maybe_unused]] ssize_t ignored = ::write(signalWriter, &byte, 1);
    errno = saved;
}

bool makeNonBlocking(int fd) {
    const int flags = ::fcntl(fd, F_GETFL);
    return flags >= 0 && ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0 &&
           ::fcntl(fd, F_SETFD, FD_CLOEXEC) == 0;
}

int remaining(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(std::min<long long>(left, 60'000));
}

class Wait {
public:
    Wait(const Request& request, const Log& log) : makeRequest_(request), log_(log) {}
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;
    ~Wait() {
        if (signalWriter >= 0)
            for (int signal : {SIGTERM, SIGINT, SIGHUP})
                ::signal(signal, SIG_DFL);
        signalWriter = -1;
    }

    std::optional<std::string> run(const std::filesystem::path& path, milliseconds limit) {
        const Clock::time_point start = Clock::now();
        const Clock::time_point answerBy = start + answerLimit;
        if (!connect(path, answerBy) || !trustPeer() || !watchSignals())
            return std::nullopt;
        std::string line;
        try {
            request_ = makeRequest_();
            line = request_.encode();
        } catch (const PermissionMessageError& error) {
            log_(std::string("Permission request not offered: ") + error.what());
            return std::nullopt;
        }
        if (!send(line, answerBy))
            return std::nullopt;
        bool accepted = false;
        Clock::time_point deadline = answerBy;
        for (;;) {
            std::optional<PermissionMessage> message = receive(deadline);
            if (!message)
                return std::nullopt;
            using Type = PermissionMessage::Type;
            if (!accepted) {
                if (message->type == Type::declined)
                    return std::nullopt;
                if (message->type == Type::accepted) {
                    accepted = true;
                    deadline = start + limit;
                }
                continue;
            }
            if (message->type == Type::withdraw)
                return std::nullopt;
            if (message->type == Type::decision)
                return PermissionWire::hookOutput(message->behavior, request_.suggestions);
        }
    }

private:
    bool connect(const std::filesystem::path& path, Clock::time_point deadline) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string text = path.string();
        if (text.size() >= sizeof address.sun_path) {
            log_("Permission socket path is too long: " + text);
            return false;
        }
        std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
        socket_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM, 0));
        if (!socket_.isOpen() || !makeNonBlocking(socket_.get()))
            return false;
#ifdef SO_NOSIGPIPE
        const int on = 1;
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
        if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
            0)
            return true;
        const int error = errno;
        // No app, or the app does not answer requests now: the usual case, not worth a line.
        if (error == ENOENT || error == ECONNREFUSED)
            return false;
        if (error != EINPROGRESS && error != EAGAIN && error != EINTR) {
            log_(std::string("Cannot reach the permission socket: ") + std::strerror(error));
            return false;
        }
        // A full backlog: the app is busy. Waiting for it is bounded by the answer limit.
        while (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address),
                         sizeof address) != 0) {
            if (errno == EISCONN)
                return true;
            if ((errno != EAGAIN && errno != EINPROGRESS && errno != EALREADY && errno != EINTR) ||
                Clock::now() >= deadline)
                return false;
            ::usleep(5000);
        }
        return true;
    }

    bool trustPeer() {
        const std::optional<uid_t> owner = PeerCredentials::userId(socket_.get());
        if (owner && *owner == ::geteuid())
            return true;
        log_("Permission socket served by " +
             (owner ? "user " + std::to_string(*owner) : std::string("an unknown user")) +
             ", not this user: request not offered");
        return false;
    }

    bool watchSignals() {
        int ends[2];
        if (::pipe(ends) != 0)
            return false;
        signalReader_ = FileDescriptor(ends[0]);
        signalWriter_ = FileDescriptor(ends[1]);
        if (!makeNonBlocking(ends[0]) || !makeNonBlocking(ends[1]))
            return false;
        signalWriter = ends[1];
        struct sigaction action {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        for (int signal : {SIGTERM, SIGINT, SIGHUP})
            ::sigaction(signal, &action, nullptr);
        ::signal(SIGPIPE, SIG_IGN);
        return true;
    }

    bool send(std::string_view bytes, Clock::time_point deadline) {
        while (!bytes.empty()) {
            const ssize_t sent = ::write(socket_.get(), bytes.data(), bytes.size());
            if (sent > 0) {
                bytes.remove_prefix(static_cast<std::size_t>(sent));
                continue;
            }
            if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
                return false;
            pollfd fds[2] = {{socket_.get(), POLLOUT, 0}, {signalReader_.get(), POLLIN, 0}};
            if (::poll(fds, 2, remaining(deadline)) == 0 || fds[1].revents != 0)
                return false;
        }
        return true;
    }

    // The next message for this request, or none when the wait is over: the deadline, a signal,
    // or the connection's end. Lines that are not messages are logged and skipped; a message for
    // another request is skipped without a word.
    std::optional<PermissionMessage> receive(Clock::time_point deadline) {
        for (;;) {
            while (std::optional<PermissionWire::LineReader::Line> line = reader_.next()) {
                if (line->tooLong) {
                    log_("Permission answer dropped: longer than the limit");
                    continue;
                }
                try {
                    PermissionMessage message = PermissionMessage::decode(line->text);
                    if (message.requestId == request_.requestId &&
                        message.type != PermissionMessage::Type::request)
                        return message;
                } catch (const PermissionMessageError& error) {
                    log_(std::string("Permission answer dropped: ") + error.what());
                }
            }
            pollfd fds[2] = {{socket_.get(), POLLIN, 0}, {signalReader_.get(), POLLIN, 0}};
            const int ready = ::poll(fds, 2, remaining(deadline));
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready <= 0) {
                if (ready == 0 && Clock::now() < deadline)
                    continue; // a long wait is polled in slices
                return std::nullopt;
            }
            if (fds[1].revents != 0)
                return std::nullopt;
            char buffer[4096];
            const ssize_t got = ::read(socket_.get(), buffer, sizeof buffer);
            if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
                continue;
            if (got <= 0)
                return std::nullopt;
            reader_.feed({buffer, static_cast<std::size_t>(got)});
        }
    }

    const Request& makeRequest_;
    PermissionMessage request_;
    const Log& log_;
    FileDescriptor socket_;
    FileDescriptor signalReader_, signalWriter_;
    PermissionWire::LineReader reader_;
};

} // namespace

bool interactive(const Environment& environment) {
    if (auto attended = environment.find("CLAUDE_CODE_SESSION_ATTENDED");
        attended != environment.end() && attended->second == "0")
        return false;
    if (auto entry = environment.find("CLAUDE_CODE_ENTRYPOINT");
        entry != environment.end() && entry->second.starts_with("sdk-"))
        return false;
    return true;
}

milliseconds limit(const Environment& environment) {
    if (auto value = environment.find("OSTRELVAN_PERMISSION_TIMEOUT"); value != environment.end()) {
        const std::string& text = value->second;
        int seconds = 0;
        auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
        if (error == std::errc() && end == text.data() + text.size() && seconds > 0 &&
            std::chrono::seconds(seconds) < defaultLimit)
            return std::chrono::seconds(seconds);
    }
    return defaultLimit;
}

std::optional<std::string> ask(const std::filesystem::path& socket, const Request& request,
                               milliseconds limit, const Log& log) noexcept {
    try {
        return Wait(request, log).run(socket, limit);
    } catch (...) {
        return std::nullopt;
    }
}

} // namespace ostrelvan::PermissionWait
