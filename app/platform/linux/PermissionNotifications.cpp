#include "app/platform/PermissionNotifications.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>
#include <map>
#include <optional>
#include <vector>

namespace ostrelvan {

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString interface = QStringLiteral("org.freedesktop.Notifications");

QDBusMessage call(const QString& method) {
    return QDBusMessage::createMethodCall(service, path, interface, method);
}
} // namespace

struct PermissionNotifications::Native {
    struct Waiting {
        std::string key;
        QString summary;
        QString body;
    };

    QDBusConnection bus = QDBusConnection::sessionBus();
    // Asked once, before the first notification.
    std::optional<bool> actions;
    bool askingCapabilities = false;
    std::vector<Waiting> beforeCapabilities;
    // Shown, by the server's id.
    std::map<uint, std::string> shown;
    // Sent, the server's id not known yet; a key withdrawn meanwhile is closed when it comes.
    std::map<std::string, bool> sending;
};

PermissionNotifications::PermissionNotifications(ActionHandler onAction, QObject* parent)
    : QObject(parent), native_(std::make_unique<Native>()), onAction_(std::move(onAction)) {
    native_->bus.connect(service, path, interface, QStringLiteral("ActionInvoked"), this,
                         SLOT(actionInvoked(uint, QString)));
    native_->bus.connect(service, path, interface, QStringLiteral("NotificationClosed"), this,
                         SLOT(notificationClosed(uint, uint)));
}

PermissionNotifications::~PermissionNotifications() {
    // Their requests end with the app: answers from them would reach nobody.
    for (const auto& [id, key] : native_->shown) {
        QDBusMessage close = call(QStringLiteral("CloseNotification"));
        close << id;
        native_->bus.call(close, QDBus::NoBlock);
    }
}

void PermissionNotifications::show(const std::string& key, const QString& summary,
                                   const QString& body) {
    Native& native = *native_;
    if (!native.bus.isConnected())
        return;
    if (!native.actions) {
        native.beforeCapabilities.push_back({key, summary, body});
        if (native.askingCapabilities)
            return;
        native.askingCapabilities = true;
        auto* watcher = new QDBusPendingCallWatcher(
            native.bus.asyncCall(call(QStringLiteral("GetCapabilities"))), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher* finished) {
                    finished->deleteLater();
                    const QDBusPendingReply<QStringList> reply = *finished;
                    native_->actions =
                        !reply.isError() && reply.value().contains(QStringLiteral("actions"));
                    native_->askingCapabilities = false;
                    auto waiting = std::move(native_->beforeCapabilities);
                    native_->beforeCapabilities.clear();
                    for (const auto& entry : waiting)
                        show(entry.key, entry.summary, entry.body);
                });
        return;
    }

    QStringList actions;
    if (*native.actions)
        actions << QStringLiteral("allow") << QStringLiteral("Allow") << QStringLiteral("deny")
                << QStringLiteral("Deny");
    QVariantMap hints;
    hints.insert(QStringLiteral("suppress-sound"), true);
    hints.insert(QStringLiteral("category"), QStringLiteral("im.received"));
    hints.insert(QStringLiteral("desktop-entry"), QStringLiteral("ostrelvan"));
    hints.insert(QStringLiteral("urgency"), QVariant::fromValue(uchar(1)));
    QDBusMessage notify = call(QStringLiteral("Notify"));
    // Kept until answered or withdrawn: a request does not go away by itself.
    notify << QStringLiteral("Ostrelvan") << uint(0) << QString() << summary << body << actions
           << hints << int(0);
    native.sending[key] = true;
    auto* watcher = new QDBusPendingCallWatcher(native.bus.asyncCall(notify), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, key](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                const QDBusPendingReply<uint> reply = *finished;
                const auto sent = native_->sending.find(key);
                const bool wanted = sent != native_->sending.end() && sent->second;
                native_->sending.erase(key);
                if (reply.isError())
                    return;
                if (!wanted) {
                    QDBusMessage close = call(QStringLiteral("CloseNotification"));
                    close << reply.value();
                    native_->bus.call(close, QDBus::NoBlock);
                    return;
                }
                native_->shown[reply.value()] = key;
            });
}

void PermissionNotifications::withdraw(const std::string& key) {
    Native& native = *native_;
    std::erase_if(native.beforeCapabilities,
                  [&](const Native::Waiting& waiting) { return waiting.key == key; });
    if (auto sent = native.sending.find(key); sent != native.sending.end())
        sent->second = false;
    for (auto it = native.shown.begin(); it != native.shown.end();) {
        if (it->second != key) {
            ++it;
            continue;
        }
        QDBusMessage close = call(QStringLiteral("CloseNotification"));
        close << it->first;
        native.bus.call(close, QDBus::NoBlock);
        it = native.shown.erase(it);
    }
}

void PermissionNotifications::actionInvoked(uint id, const QString& action) {
    const auto found = native_->shown.find(id);
    if (found == native_->shown.end())
        return;
    const std::string key = found->second;
    if (action == QLatin1String("allow") || action == QLatin1String("deny")) {
        native_->shown.erase(found);
        if (onAction_)
            onAction_(key, action.toStdString());
    }
}

void PermissionNotifications::notificationClosed(uint id, uint) {
    native_->shown.erase(id);
}

} // namespace ostrelvan
