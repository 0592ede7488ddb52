#pragma once

#include "app/store/KeyValueStore.h"

#include <QSettings>
#include <memory>

namespace ostrelvan {

// The user's preferences on disk through QSettings: the user defaults on macOS,
// ~/.config/Ostrelvan/Ostrelvan.conf (INI, honouring XDG_CONFIG_HOME) on Linux.
class SettingsKeyValueStore : public KeyValueStore {
public:
    // The user's own settings, organisation and application "Ostrelvan".
    SettingsKeyValueStore();
    // An INI file at `path`; tests use this.
    explicit SettingsKeyValueStore(const QString& path);

    QVariant value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void remove(const QString& key) override;

    QSettings& settings() { return *settings_; }

private:
    std::unique_ptr<QSettings> settings_;
};

} // namespace ostrelvan
