#include "app/shell/SingleInstance.h"

#include "app/services/Log.h"
#include "core/DataPaths.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <unistd.h>

namespace ostrelvan {

namespace {

// The words predate presenting the panel; kept so that starts of other versions understand each
// other.
const QByteArray request = "open-pinned\n";
const QByteArray reply = "ok\n";

} // namespace

QString SingleInstance::socketPath(const Environment& environment) {
    const auto runtime = nonEmpty(environment, "XDG_RUNTIME_DIR");
    const QString folder = runtime && QDir::isAbsolutePath(QString::fromStdString(*runtime))
                               ? QString::fromStdString(*runtime)
                               : QDir::tempPath();
    std::filesystem::path root = DataPaths::root(environment).lexically_normal();
    if (!root.has_filename()) {
        root = root.parent_path(); // "/data/Ostrelvan/" is the same folder as "/data/Ostrelvan"
    }
    const QByteArray dataRoot = QByteArray::fromStdString(root.string());
    const QByteArray hash =
        QCryptographicHash::hash(dataRoot, QCryptographicHash::Sha256).toHex().left(16);
    return QDir(folder).filePath(
        QStringLiteral("ostrelvan-%1-%2.socket").arg(::getuid()).arg(QString::fromLatin1(hash)));
}

SingleInstance::SingleInstance(QString socketPath, QObject* parent)
    : QObject(parent), path_(std::move(socketPath)) {
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::answer);
}

bool SingleInstance::claim(std::chrono::milliseconds timeout) {
    if (askRunningInstance(timeout)) {
        qCInfo(appLog, "Ostrelvan is already running; asked it to open its panel");
        return false;
    }
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_.listen(path_)) {
        // A socket file left by an instance that crashed: nobody answered on it above.
        QLocalServer::removeServer(path_);
        if (!server_.listen(path_)) {
            qCWarning(appLog, "cannot listen on %s (%s); a second start will not find this one",
                      qPrintable(path_), qPrintable(server_.errorString()));
        }
    }
    return true;
}

bool SingleInstance::askRunningInstance(std::chrono::milliseconds timeout) {
    QLocalSocket socket;
    socket.connectToServer(path_);
    if (!socket.waitForConnected(int(timeout.count()))) {
        return false;
    }
    socket.write(request);
    socket.waitForBytesWritten(int(timeout.count()));
    // An instance that connects but never answers is hung; it still holds the socket, so this
    // start leaves rather than making a second widget.
    if (!socket.waitForReadyRead(int(timeout.count())) || !socket.readAll().startsWith(reply)) {
        qCWarning(appLog, "the running Ostrelvan did not answer");
    }
    return true;
}

void SingleInstance::answer() {
    while (QLocalSocket* socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                return;
            }
            if (socket->readLine() == request) {
                socket->write(reply);
                socket->flush();
                emit presentRequested();
            }
            socket->disconnectFromServer();
        });
    }
}

} // namespace ostrelvan
