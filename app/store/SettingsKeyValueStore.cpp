#include "app/store/SettingsKeyValueStore.h"

namespace ostrelvan {

SettingsKeyValueStore::SettingsKeyValueStore()
    : settings_(std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                            QStringLiteral("Ostrelvan"),
                                            QStringLiteral("Ostrelvan"))) {}

SettingsKeyValueStore::SettingsKeyValueStore(const QString& path)
    : settings_(std::make_unique<QSettings>(path, QSettings::IniFormat)) {}

QVariant SettingsKeyValueStore::value(const QString& key) const {
    return settings_->value(key);
}

// Written at once so that a second process (the front end beside the app) sees the change.
void SettingsKeyValueStore::setValue(const QString& key, const QVariant& value) {
    settings_->setValue(key, value);
    settings_->sync();
}

void SettingsKeyValueStore::remove(const QString& key) {
    settings_->remove(key);
    settings_->sync();
}

} // namespace ostrelvan
