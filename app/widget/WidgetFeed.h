#pragma once

#include "app/services/PendingRequest.h"
#include "app/store/SessionGroup.h"
#include "core/Time.h"

#include <QObject>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ostrelvan {

// What the widget shows: the displayed groups, the permission requests it can answer, whether the
// hooks are connected and the clock the rows' elapsed times are measured with. The live app fills
// it from the store and the settings; the design preview fills it with demo sessions and a fixed
// clock, reading no files.
class WidgetFeed : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<TimePoint()>;

    explicit WidgetFeed(QObject* parent = nullptr) : QObject(parent) {}

    const std::vector<SessionGroup>& groups() const { return groups_; }
    // Every session in display order, group after group.
    std::vector<DisplayedSession> sessions() const;
    std::vector<int> groupSizes() const;
    bool isConnected() const { return isConnected_; }
    TimePoint now() const { return clock_(); }
    // By session id.
    const std::map<std::string, PendingRequest>& requests() const { return requests_; }

    void setGroups(std::vector<SessionGroup> groups);
    void setConnected(bool connected);
    void setRequests(const std::vector<PendingRequest>& requests);
    void setClock(Clock clock) { clock_ = std::move(clock); }

signals:
    void groupsChanged();
    void connectedChanged();
    void requestsChanged();

private:
    std::vector<SessionGroup> groups_;
    std::map<std::string, PendingRequest> requests_;
    bool isConnected_ = false;
    Clock clock_ = wallClockNow;
};

} // namespace ostrelvan
