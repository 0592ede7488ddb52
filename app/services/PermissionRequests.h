#pragma once

#include "app/services/PendingRequest.h"
#include "app/store/DisplayedSession.h"
#include "core/ClaudeProcess.h"
#include "core/PermissionMessage.h"

#include <QObject>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

class QLocalServer;
class QLocalSocket;

namespace ostrelvan {

// The permission requests the hook helper hands to the app, from the local socket to the user's
// answer. It listens only while answering is on; each helper sends one request and is told at
// once whether it was accepted, then later the user's decision or that the request was
// withdrawn. A session has one request at a time: a newer one replaces the older. A request is
// withdrawn when its helper goes away, and when it was answered in the terminal first, which the
// helper cannot see: Claude Code's registry record leaves "waiting", or a later hook event moves
// the session on from the approval.
class PermissionRequests : public QObject {
    Q_OBJECT
public:
    // Claude Code's registry records, read again while a request waits.
    using Registry = std::function<std::vector<ClaudeProcess>()>;
    using PeerUser = std::function<std::optional<uid_t>(int socket)>;
    using Clock = std::function<TimePoint()>;

    // How often the registry is read while a request waits.
    static constexpr int registryPollMilliseconds = 250;
    // Beyond this many waiting requests new ones are declined.
    static constexpr std::size_t maxPending = 64;

    explicit PermissionRequests(std::filesystem::path socketPath, Registry registry = {},
                                QObject* parent = nullptr);
    ~PermissionRequests() override;

    // Tests replace how a peer's user is found and the clock.
    void setPeerUser(PeerUser peerUser) { peerUser_ = std::move(peerUser); }
    void setClock(Clock clock) { clock_ = std::move(clock); }

    // On: listens, replacing a socket file left behind. Off: withdraws every waiting request and
    // stops listening, so that helpers find nobody and leave Claude Code's own dialog alone.
    void setEnabled(bool enabled);
    bool isListening() const;
    const std::filesystem::path& socketPath() const { return socketPath_; }

    // Oldest first.
    const std::vector<PendingRequest>& pending() const { return pending_; }
    const PendingRequest* forSession(const std::string& sessionId) const;

    // The user's answer to the request with this id; false when it is no longer waiting (answered
    // elsewhere, withdrawn, replaced), in which case nothing is sent.
    bool answer(const std::string& requestId, PermissionChoice choice);
    // Withdraws each request whose session the store shows moved on from it.
    void checkSessions(const std::vector<DisplayedSession>& sessions);

signals:
    void requestAdded(const ostrelvan::PendingRequest& request);
    // Answered here, answered elsewhere, withdrawn, or its helper went away.
    void requestEnded(const std::string& requestId);
    void pendingChanged();

private:
    struct Connection;

    void listen();
    void stopListening();
    void accept();
    void read(Connection& connection);
    void receive(Connection& connection, const PermissionMessage& message);
    void disconnected(Connection& connection);
    void forgetClosed();
    void close(Connection& connection);
    void send(Connection& connection, const PermissionMessage& message);
    Connection* connectionFor(const std::string& requestId);
    void end(const std::string& requestId, const std::optional<PermissionMessage>& last);
    void withdraw(const std::string& requestId, const char* why);
    void checkRegistry();
    void updatePolling();

    std::filesystem::path socketPath_;
    Registry registry_;
    PeerUser peerUser_;
    Clock clock_;
    std::unique_ptr<QLocalServer> server_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<PendingRequest> pending_;
    QTimer registryPoll_;
};

} // namespace ostrelvan
