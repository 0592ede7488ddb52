#pragma once

#include "app/store/KeyValueStore.h"

#include <QVariantMap>

namespace ostrelvan {

// A preferences store that lives only as long as the object: for tests and previews.
class MemoryKeyValueStore : public KeyValueStore {
public:
    MemoryKeyValueStore() = default;
    explicit MemoryKeyValueStore(QVariantMap values) : values_(std::move(values)) {}

    QVariant value(const QString& key) const override { return values_.value(key); }
    void setValue(const QString& key, const QVariant& value) override {
        values_.insert(key, value);
        ++writes_;
    }
    void remove(const QString& key) override {
        values_.remove(key);
        ++writes_;
    }

    // How many times the store was written to; lets tests see that nothing was written.
    int writes() const { return writes_; }

private:
    QVariantMap values_;
    int writes_ = 0;
};

} // namespace ostrelvan
