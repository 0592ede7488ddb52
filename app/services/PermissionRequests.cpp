#include "app/services/PermissionRequests.h"

#include "app/services/Log.h"
#include "base/PeerCredentials.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <algorithm>
#include <system_error>
#include <unistd.h>

namespace ostrelvan {

struct PermissionRequests::Connection {
    QLocalSocket* socket = nullptr;
    PermissionWire::LineReader reader;
    // The request this helper sent, once it did.
    std::string requestId;
    bool closing = false;
    // Disconnected; removed from the list at the next turn of the event loop.
    bool gone = false;
};

namespace {

std::string projectOf(const std::string& cwd) {
    const std::filesystem::path folder(cwd);
    std::string name = folder.filename().string();
    if (name.empty())
        name = folder.parent_path().filename().string();
    return name.empty() ? cwd : name;
}

PermissionMessage::Behavior behaviorOf(PermissionChoice choice) {
    switch (choice) {
    case PermissionChoice::allow:
        return PermissionMessage::Behavior::allow;
    case PermissionChoice::allowAndAddRule:
        return PermissionMessage::Behavior::allowWithRule;
    case PermissionChoice::deny:
        break;
    }
    return PermissionMessage::Behavior::deny;
}

const char* nameOf(PermissionChoice choice) {
    switch (choice) {
    case PermissionChoice::allow:
        return "allow";
    case PermissionChoice::allowAndAddRule:
        return "allow and add the rule";
    case PermissionChoice::deny:
        break;
    }
    return "deny";
}

} // namespace

PermissionRequests::PermissionRequests(std::filesystem::path socketPath, Registry registry,
                                       QObject* parent)
    : QObject(parent), socketPath_(std::move(socketPath)), registry_(std::move(registry)),
      peerUser_(PeerCredentials::userId), clock_(wallClockNow) {
    registryPoll_.setInterval(registryPollMilliseconds);
    connect(&registryPoll_, &QTimer::timeout, this, &PermissionRequests::checkRegistry);
}

PermissionRequests::~PermissionRequests() {
    // The helpers see the socket close and leave the dialog to the terminal.
    for (auto& connection : connections_) {
        connection->socket->disconnect(this);
        connection->socket->abort();
        delete connection->socket;
    }
    if (server_) {
        server_->close();
        std::error_code ignored;
        std::filesystem::remove(socketPath_, ignored);
    }
}

void PermissionRequests::setEnabled(bool enabled) {
    if (enabled == isListening())
        return;
    if (enabled) {
        listen();
    } else {
        stopListening();
    }
}

bool PermissionRequests::isListening() const {
    return server_ && server_->isListening();
}

void PermissionRequests::listen() {
    server_ = std::make_unique<QLocalServer>();
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    const QString path = QString::fromStdString(socketPath_.string());
    // A socket file left by an app that ended without closing it would refuse the listen; this
    // app is the only instance, so nobody else listens on it.
    QLocalServer::removeServer(path);
    if (!server_->listen(path)) {
        qCWarning(permissionsLog, "cannot listen for permission requests at %s: %s",
                  socketPath_.c_str(), qPrintable(server_->errorString()));
        server_.reset();
        return;
    }
    connect(server_.get(), &QLocalServer::newConnection, this, &PermissionRequests::accept);
    qCInfo(permissionsLog, "answering permission requests");
}

void PermissionRequests::stopListening() {
    std::vector<std::string> ids;
    for (const auto& request : pending_)
        ids.push_back(request.requestId);
    for (const auto& id : ids)
        withdraw(id, "answers turned off");
    for (auto& connection : connections_)
        close(*connection);
    if (server_) {
        server_->close();
        server_.reset();
        std::error_code ignored;
        std::filesystem::remove(socketPath_, ignored);
    }
    qCInfo(permissionsLog, "not answering permission requests");
}

void PermissionRequests::accept() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        const auto peer = peerUser_(static_cast<int>(socket->socketDescriptor()));
        if (!peer || *peer != ::getuid()) {
            qCWarning(permissionsLog, "refused a connection from another user");
            socket->abort();
            socket->deleteLater();
            continue;
        }
        // Owned by its connection, so that closing the server does not delete it under it.
        socket->setParent(nullptr);
        auto connection = std::make_unique<Connection>();
        connection->socket = socket;
        Connection* raw = connection.get();
        connections_.push_back(std::move(connection));
        connect(socket, &QLocalSocket::readyRead, this, [this, raw] { read(*raw); });
        connect(socket, &QLocalSocket::disconnected, this, [this, raw] { disconnected(*raw); });
        if (socket->bytesAvailable() > 0)
            read(*raw);
    }
}

void PermissionRequests::read(Connection& connection) {
    if (connection.closing)
        return;
    const QByteArray bytes = connection.socket->readAll();
    connection.reader.feed(std::string_view(bytes.constData(), std::size_t(bytes.size())));
    while (auto line = connection.reader.next()) {
        if (line->tooLong) {
            qCWarning(permissionsLog, "dropped a line longer than %zu bytes",
                      PermissionMessage::maxLine);
            close(connection);
            return;
        }
        PermissionMessage message;
        try {
            message = PermissionMessage::decode(line->text);
        } catch (const PermissionMessageError& error) {
            qCWarning(permissionsLog, "dropped a malformed line: %s", error.what());
            close(connection);
            return;
        }
        receive(connection, message);
        if (connection.closing)
            return;
    }
}

void PermissionRequests::receive(Connection& connection, const PermissionMessage& message) {
    if (message.type != PermissionMessage::Type::request || !connection.requestId.empty()) {
        qCWarning(permissionsLog, "dropped a message a helper does not send");
        close(connection);
        return;
    }
    const bool taken = std::any_of(pending_.begin(), pending_.end(), [&](const auto& request) {
        return request.requestId == message.requestId;
    });
    if (taken || pending_.size() >= maxPending) {
        qCWarning(permissionsLog, "declined a request: %s",
                  taken ? "its id is already waiting" : "too many waiting");
        send(connection,
             PermissionMessage::answer(PermissionMessage::Type::declined, message.requestId));
        return;
    }
    // The session asks again: what it asked before is no longer on its screen.
    if (const PendingRequest* older = forSession(message.sessionId))
        withdraw(std::string(older->requestId), "replaced by a newer request");

    PendingRequest request{message.requestId,
                           message.sessionId,
                           projectOf(message.cwd),
                           message.toolName,
                           message.summary,
                           message.suggestions.is_array() && !message.suggestions.empty(),
                           clock_()};
    connection.requestId = request.requestId;
    pending_.push_back(request);
    send(connection,
         PermissionMessage::answer(PermissionMessage::Type::accepted, request.requestId));
    qCInfo(permissionsLog, "offered a %s request", request.toolName.c_str());
    updatePolling();
    emit requestAdded(request);
    emit pendingChanged();
}

// The connection may be in the middle of being read: it is forgotten once control is back in the
// event loop.
void PermissionRequests::disconnected(Connection& connection) {
    const std::string id = connection.requestId;
    connection.closing = true;
    connection.gone = true;
    connection.socket->disconnect(this);
    const bool waiting = std::any_of(pending_.begin(), pending_.end(), [&](const auto& request) {
        return !id.empty() && request.requestId == id;
    });
    if (waiting) {
        qCInfo(permissionsLog, "a helper went away before its answer");
        end(id, std::nullopt);
    }
    QMetaObject::invokeMethod(this, &PermissionRequests::forgetClosed, Qt::QueuedConnection);
}

void PermissionRequests::forgetClosed() {
    std::erase_if(connections_, [](const auto& connection) {
        if (!connection->gone)
            return false;
        connection->socket->deleteLater();
        return true;
    });
}

// Disconnecting lets what was written go out first; `disconnected` then forgets the connection.
void PermissionRequests::close(Connection& connection) {
    if (connection.closing)
        return;
    connection.closing = true;
    connection.socket->disconnectFromServer();
}

void PermissionRequests::send(Connection& connection, const PermissionMessage& message) {
    const std::string line = message.encode();
    connection.socket->write(line.data(), qint64(line.size()));
    connection.socket->flush();
}

PermissionRequests::Connection* PermissionRequests::connectionFor(const std::string& requestId) {
    for (auto& connection : connections_)
        if (connection->requestId == requestId && !connection->closing)
            return connection.get();
    return nullptr;
}

const PendingRequest* PermissionRequests::forSession(const std::string& sessionId) const {
    for (const auto& request : pending_)
        if (request.sessionId == sessionId)
            return &request;
    return nullptr;
}

bool PermissionRequests::answer(const std::string& requestId, PermissionChoice choice) {
    const auto found = std::find_if(pending_.begin(), pending_.end(), [&](const auto& request) {
        return request.requestId == requestId;
    });
    if (found == pending_.end()) {
        qCInfo(permissionsLog, "an answer came after its request ended; not sent");
        return false;
    }
    if (choice == PermissionChoice::allowAndAddRule && !found->canAddRule)
        choice = PermissionChoice::allow;
    qCInfo(permissionsLog, "answered: %s", nameOf(choice));
    end(requestId, PermissionMessage::decision(requestId, behaviorOf(choice)));
    return true;
}

void PermissionRequests::withdraw(const std::string& requestId, const char* why) {
    qCInfo(permissionsLog, "withdrew a request: %s", why);
    end(requestId, PermissionMessage::answer(PermissionMessage::Type::withdraw, requestId));
}

// Forgets the request, tells its helper the last word when there is one and lets it go.
void PermissionRequests::end(const std::string& requestId,
                             const std::optional<PermissionMessage>& last) {
    const auto count = std::erase_if(
        pending_, [&](const auto& request) { return request.requestId == requestId; });
    if (count == 0)
        return;
    if (Connection* connection = connectionFor(requestId)) {
        if (last)
            send(*connection, *last);
        close(*connection);
    }
    updatePolling();
    emit requestEnded(requestId);
    emit pendingChanged();
}

// The hook event that asked is written before its helper connects, so anything the store shows
// from after the request arrived, other than the approval itself, is the session moving on.
void PermissionRequests::checkSessions(const std::vector<DisplayedSession>& sessions) {
    std::vector<std::string> ended;
    for (const auto& request : pending_) {
        const auto session = std::find_if(sessions.begin(), sessions.end(), [&](const auto& s) {
            return s.id() == request.sessionId;
        });
        if (session == sessions.end() || session->status == SessionStatus::needsApproval)
            continue;
        const SessionState& state = session->state;
        if (state.lastEvent > request.arrivedAt || state.statusSince > request.arrivedAt)
            ended.push_back(request.requestId);
    }
    for (const auto& id : ended)
        withdraw(id, "the session moved on");
}

// Claude Code marks the record "waiting" as the request's hook starts and changes it the moment
// the user answers in the terminal, well before any hook event tells.
void PermissionRequests::checkRegistry() {
    if (!registry_ || pending_.empty())
        return;
    const auto records = registry_();
    std::vector<std::string> ended;
    for (const auto& request : pending_) {
        for (const auto& record : records) {
            if (record.sessionId != request.sessionId || !record.status)
                continue;
            if (*record.status != "waiting" && record.statusUpdatedAt &&
                *record.statusUpdatedAt > request.arrivedAt) {
                ended.push_back(request.requestId);
                break;
            }
        }
    }
    for (const auto& id : ended)
        withdraw(id, "answered in the terminal");
}

void PermissionRequests::updatePolling() {
    if (pending_.empty() || !registry_) {
        registryPoll_.stop();
    } else if (!registryPoll_.isActive()) {
        registryPoll_.start();
    }
}

} // namespace ostrelvan
