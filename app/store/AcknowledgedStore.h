#pragma once

#include "app/store/KeyValueStore.h"
#include "core/Time.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace ostrelvan {

// The sessions the user has opened, remembered across restarts: session id to the session's
// last event at the moment it was opened, persisted as seconds since 2001-01-01 UTC.
class AcknowledgedStore {
public:
    static inline const QString key = QStringLiteral("sessions.acknowledged");

    explicit AcknowledgedStore(KeyValueStore& defaults);

    void set(TimePoint date, const std::string& sessionId);
    const std::map<std::string, double>& values() const { return values_; }
    std::optional<TimePoint> acknowledgedAt(const std::string& sessionId) const;
    // Forgets the sessions not in `ids`; writes only when something was forgotten.
    void prune(const std::set<std::string>& ids);

    static double referenceSeconds(TimePoint date);
    static TimePoint fromReferenceSeconds(double seconds);

private:
    void write();

    KeyValueStore& defaults_;
    std::map<std::string, double> values_;
};

} // namespace ostrelvan
