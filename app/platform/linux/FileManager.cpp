#include "app/platform/FileManager.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QStringList>
#include <QUrl>

namespace ostrelvan::FileManager {

namespace {

// A file manager that is not running is started by the bus first, which can take a while.
constexpr int replyTimeoutMs = 10000;

// A startup notification id that carries the click's time ("_TIME<time>"), by which the window
// manager lets the file manager's window come forward.
QString startupId(std::optional<std::uint32_t> userTime) {
    if (!userTime)
        return {};
    return QStringLiteral("ostrelvan-%1_TIME%2")
        .arg(QCoreApplication::applicationPid())
        .arg(*userTime);
}

} // namespace

void showItem(const std::string& path, std::optional<std::uint32_t> userTime,
              std::function<void(bool shown)> done) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        done(false);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    const QUrl url = QUrl::fromLocalFile(QString::fromStdString(path));
    call << QStringList{url.toString(QUrl::FullyEncoded)} << startupId(userTime);
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, replyTimeoutMs));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [done = std::move(done)](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         done(!finished->isError());
                     });
}

} // namespace ostrelvan::FileManager
