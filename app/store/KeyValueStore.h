#pragma once

#include <QString>
#include <QVariant>

namespace ostrelvan {

// The few operations the settings and the acknowledgements need from a preferences store, so
// tests can swap QSettings for memory. Values may come back as text (QSettings' INI format
// keeps no types): readers convert, never branch on the variant's type.
class KeyValueStore {
public:
    virtual ~KeyValueStore() = default;
    virtual QVariant value(const QString& key) const = 0; // invalid when absent
    virtual void setValue(const QString& key, const QVariant& value) = 0;
    virtual void remove(const QString& key) = 0;
};

} // namespace ostrelvan
