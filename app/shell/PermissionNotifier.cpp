#include "app/shell/PermissionNotifier.h"

#include "app/services/Log.h"
#include "app/shell/SoundPlayer.h"

namespace ostrelvan {

PermissionNotifier::PermissionNotifier(PermissionRequests& requests, TimePoint launchedAt,
                                       Clock clock, QObject* parent)
    : QObject(parent), requests_(requests), launchedAt_(launchedAt), clock_(std::move(clock)),
      notifications_([this](const std::string& requestId, const std::string& action) {
          qCInfo(permissionsLog, "answered from a notification");
          requests_.answer(requestId,
                           action == "allow" ? PermissionChoice::allow : PermissionChoice::deny);
      }) {
    connect(&requests_, &PermissionRequests::requestAdded, this, &PermissionNotifier::show);
    connect(&requests_, &PermissionRequests::requestEnded, this,
            [this](const std::string& requestId) { notifications_.withdraw(requestId); });
}

QString PermissionNotifier::summary(const PendingRequest& request) {
    return QStringLiteral("%1 needs approval").arg(QString::fromStdString(request.project));
}

QString PermissionNotifier::body(const PendingRequest& request) {
    return QString::fromStdString(request.summary.empty() ? request.toolName : request.summary);
}

void PermissionNotifier::show(const PendingRequest& request) {
    if (secondsBetween(launchedAt_, clock_()) < SoundPlayer::quietPeriod)
        return;
    notifications_.show(request.requestId, summary(request), body(request));
}

} // namespace ostrelvan
