#pragma once

#include "app/platform/PermissionNotifications.h"
#include "app/services/PermissionRequests.h"
#include "core/Time.h"

#include <QObject>
#include <functional>

namespace ostrelvan {

// A desktop notification for each request the broker offers, answered from its actions and
// taken away as soon as the request ends anywhere else. Like the cues it keeps quiet in the
// first moments after launch.
class PermissionNotifier : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<TimePoint()>;

    PermissionNotifier(PermissionRequests& requests, TimePoint launchedAt,
                       Clock clock = wallClockNow, QObject* parent = nullptr);

    // "<project> needs approval".
    static QString summary(const PendingRequest& request);
    // What is asked: the command, or the tool when nothing more is known.
    static QString body(const PendingRequest& request);

private:
    void show(const PendingRequest& request);

    PermissionRequests& requests_;
    TimePoint launchedAt_;
    Clock clock_;
    PermissionNotifications notifications_;
};

} // namespace ostrelvan
