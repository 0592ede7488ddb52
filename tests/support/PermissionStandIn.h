#pragma once

// A stand-in for the desktop app's permission socket: it listens where the app would, takes the
// helper's connection and says what a test tells it to, line by line.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace ostrelvan::test {

using namespace std::chrono_literals;

// One accepted connection.
class StandInPeer {
public:
    explicit StandInPeer(int fd) : fd_(fd) {}
    StandInPeer(StandInPeer&& other) noexcept
        : fd_(std::exchange(other.fd_, -1)), pending_(std::move(other.pending_)) {}
    StandInPeer& operator=(StandInPeer&&) = delete;
    ~StandInPeer() { close(); }

    // The next line without its '\n', or none at the end of the stream or after `timeout`.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout = 10s) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (pending_.find('\n') == std::string::npos)
            if (fill(deadline) <= 0)
                return std::nullopt;
        std::string line = pending_.substr(0, pending_.find('\n'));
        pending_.erase(0, line.size() + 1);
        return line;
    }

    // Whether the other end closes the connection within `timeout` (anything it sends first is
    // discarded).
    bool closedWithin(std::chrono::milliseconds timeout = 10s) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        int got = 0;
        while ((got = fill(deadline)) > 0)
            pending_.clear();
        return got == 0;
    }

    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), 0);
            if (sent <= 0)
                return false;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

    void close() {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

private:
    // Reads what has come into `pending_`: how much, 0 once the stream has ended, -1 at `deadline`.
    int fill(std::chrono::steady_clock::time_point deadline) {
        pollfd fd{fd_, POLLIN, 0};
        int ready = 0;
        do {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            ready = ::poll(&fd, 1, static_cast<int>(std::max<long long>(0, left.count())));
        } while (ready < 0 && errno == EINTR);
        if (ready <= 0)
            return -1;
        char buffer[4096];
        const ssize_t got = std::max<ssize_t>(0, ::read(fd_, buffer, sizeof buffer));
        pending_.append(buffer, static_cast<std::size_t>(got));
        return int(got);
    }

    int fd_;
    std::string pending_;
};

// Listens on `path` (the data root's permission.sock) until destroyed, then removes it.
class PermissionStandIn {
public:
    explicit PermissionStandIn(std::filesystem::path path) : path_(std::move(path)) {
        ::signal(SIGPIPE, SIG_IGN); // an answer to a helper that is gone fails, it does not kill
        std::filesystem::create_directories(path_.parent_path());
        ::chmod(path_.parent_path().c_str(), 0700);
        fd_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ::fcntl(fd_, F_SETFD, FD_CLOEXEC);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
        if (fd_ < 0 || ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(fd_, 16) != 0)
            throw std::runtime_error("cannot listen on " + path_.string());
    }
    PermissionStandIn(const PermissionStandIn&) = delete;
    PermissionStandIn& operator=(const PermissionStandIn&) = delete;
    ~PermissionStandIn() {
        ::close(fd_);
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }

    // The next connection, or none after `timeout` (0: only one that is already waiting).
    std::optional<StandInPeer> accept(std::chrono::milliseconds timeout = 10s) {
        pollfd fd{fd_, POLLIN, 0};
        if (::poll(&fd, 1, static_cast<int>(timeout.count())) <= 0)
            return std::nullopt;
        const int peer = ::accept(fd_, nullptr, nullptr);
        if (peer < 0)
            return std::nullopt;
        ::fcntl(peer, F_SETFD, FD_CLOEXEC);
        return StandInPeer(peer);
    }

private:
    std::filesystem::path path_;
    int fd_ = -1;
};

// A helper's request as the stand-in took it.
struct TakenRequest {
    StandInPeer peer;
    nlohmann::json line;
    std::string requestId;
};

// The next helper's connection and first line; throws when none comes within `timeout`.
inline TakenRequest takeRequest(PermissionStandIn& app, std::chrono::milliseconds timeout = 10s) {
    std::optional<StandInPeer> peer = app.accept(timeout);
    if (!peer)
        throw std::runtime_error("no helper connected");
    const std::optional<std::string> line = peer->readLine();
    if (!line)
        throw std::runtime_error("the helper sent nothing");
    nlohmann::json parsed = nlohmann::json::parse(*line);
    return {std::move(*peer), parsed, parsed.at("requestId").get<std::string>()};
}

// The answers a stand-in sends, as the app writes them.
inline std::string answerLine(const std::string& type, const std::string& requestId,
                              const std::string& extra = "") {
    return R"({"type":")" + type + R"(","requestId":")" + requestId + "\"" + extra + "}\n";
}

} // namespace ostrelvan::test
