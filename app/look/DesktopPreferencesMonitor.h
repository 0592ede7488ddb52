#pragma once

#include "app/look/DesktopPreferences.h"

#include <QObject>
#include <memory>

namespace ostrelvan {

// The desktop's current preferences, read when made and again when the desktop says they
// changed: the settings portal's SettingChanged on Linux, the accessibility and theme
// notifications on macOS.
class DesktopPreferencesMonitor : public QObject {
    Q_OBJECT
public:
    explicit DesktopPreferencesMonitor(QObject* parent = nullptr);
    ~DesktopPreferencesMonitor() override;

    const DesktopPreferences& current() const { return current_; }

    // Reads the preferences now, the way this platform does.
    static DesktopPreferences read();
    // Reads again; emits changed() when something differs.
    void refresh();

signals:
    void changed();

private:
    DesktopPreferences current_;
    struct Native;
    std::unique_ptr<Native> native_;

private slots: // NOLINT(readability-redundant-access-specifiers): a Qt section
    // The desktop said that one of its settings changed.
    void settingChanged() { refresh(); }
};

} // namespace ostrelvan
