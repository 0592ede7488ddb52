#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <string>

namespace ostrelvan {

// One desktop notification per waiting permission request, with "allow" and "deny" actions where
// the notification server offers actions: org.freedesktop.Notifications on the session bus on
// Linux, the user notification center on macOS. Nothing here blocks: a server that is missing or
// slow only means no notification.
class PermissionNotifications : public QObject {
    Q_OBJECT
public:
    // `key` is the one show() was given; `action` is "allow" or "deny".
    using ActionHandler = std::function<void(const std::string& key, const std::string& action)>;

    explicit PermissionNotifications(ActionHandler onAction, QObject* parent = nullptr);
    ~PermissionNotifications() override;

    // Silent: the app's own cue already sounds, when sounds are on, as the session turns to
    // needing approval.
    void show(const std::string& key, const QString& summary, const QString& body);
    // Takes the notification away, also when it has not been shown yet.
    void withdraw(const std::string& key);

private:
    struct Native;
    std::unique_ptr<Native> native_;
    ActionHandler onAction_;

private slots: // NOLINT(readability-redundant-access-specifiers): a Qt section
    void actionInvoked(uint id, const QString& action);
    void notificationClosed(uint id, uint reason);
};

} // namespace ostrelvan
