#include "app/widget/WidgetFeed.h"

namespace ostrelvan {

std::vector<DisplayedSession> WidgetFeed::sessions() const {
    std::vector<DisplayedSession> all;
    for (const auto& group : groups_)
        all.insert(all.end(), group.sessions.begin(), group.sessions.end());
    return all;
}

std::vector<int> WidgetFeed::groupSizes() const {
    std::vector<int> sizes;
    sizes.reserve(groups_.size());
    for (const auto& group : groups_)
        sizes.push_back(static_cast<int>(group.sessions.size()));
    return sizes;
}

void WidgetFeed::setGroups(std::vector<SessionGroup> groups) {
    if (groups == groups_)
        return;
    groups_ = std::move(groups);
    emit groupsChanged();
}

void WidgetFeed::setRequests(const std::vector<PendingRequest>& requests) {
    std::map<std::string, PendingRequest> bySession;
    for (const PendingRequest& request : requests)
        bySession.insert_or_assign(request.sessionId, request);
    if (bySession == requests_)
        return;
    requests_ = std::move(bySession);
    emit requestsChanged();
}

void WidgetFeed::setConnected(bool connected) {
    if (connected == isConnected_)
        return;
    isConnected_ = connected;
    emit connectedChanged();
}

} // namespace ostrelvan
