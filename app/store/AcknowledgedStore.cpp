#include "app/store/AcknowledgedStore.h"

#include <QVariantMap>
#include <cmath>

namespace ostrelvan {

namespace {

// 2001-01-01 00:00:00 UTC in seconds since 1970.
constexpr double referenceDate = 978307200;

// Anything but a map of text to numbers gives an empty map. Values are converted through their
// text: QSettings' INI files give numbers back as text.
std::map<std::string, double> decode(const QVariant& stored) {
    std::map<std::string, double> values;
    const QVariantMap map = stored.toMap();
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        bool ok = false;
        const double seconds = it.value().toString().toDouble(&ok);
        if (!ok || !std::isfinite(seconds)) {
            return {};
        }
        values.emplace(it.key().toStdString(), seconds);
    }
    return values;
}

} // namespace

AcknowledgedStore::AcknowledgedStore(KeyValueStore& defaults)
    : defaults_(defaults), values_(decode(defaults.value(key))) {}

void AcknowledgedStore::set(TimePoint date, const std::string& sessionId) {
    values_[sessionId] = referenceSeconds(date);
    write();
}

std::optional<TimePoint> AcknowledgedStore::acknowledgedAt(const std::string& sessionId) const {
    const auto found = values_.find(sessionId);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return fromReferenceSeconds(found->second);
}

void AcknowledgedStore::prune(const std::set<std::string>& ids) {
    const auto dropped =
        std::erase_if(values_, [&](const auto& entry) { return !ids.contains(entry.first); });
    if (dropped > 0) {
        write();
    }
}

double AcknowledgedStore::referenceSeconds(TimePoint date) {
    return secondsBetween(TimePoint{}, date) - referenceDate;
}

TimePoint AcknowledgedStore::fromReferenceSeconds(double seconds) {
    return addSeconds(TimePoint{}, seconds + referenceDate);
}

void AcknowledgedStore::write() {
    QVariantMap map;
    for (const auto& [id, seconds] : values_) {
        map.insert(QString::fromStdString(id), seconds);
    }
    defaults_.setValue(key, map);
}

} // namespace ostrelvan
