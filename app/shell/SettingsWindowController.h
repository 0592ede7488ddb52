#pragma once

#include "app/services/AppSettings.h"

#include <QObject>
#include <functional>
#include <memory>

class QWidget;

namespace ostrelvan {

// Owns the one settings window: made on first use, centred, and brought to the front each time
// it is asked for. Tells its owner when the window becomes visible or goes away.
class SettingsWindowController : public QObject {
    Q_OBJECT
public:
    SettingsWindowController(AppSettings& settings, std::function<void()> reviewFadeChanged,
                             std::function<void(bool visible)> onVisibilityChange,
                             QObject* parent = nullptr);
    ~SettingsWindowController() override;

    void show();
    // None until first shown.
    QWidget* window() const { return window_.get(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void report(bool visible);

    AppSettings& settings_;
    std::function<void()> reviewFadeChanged_;
    std::function<void(bool)> onVisibilityChange_;
    std::unique_ptr<QWidget> window_;
    bool reportedVisible_ = false;
};

} // namespace ostrelvan
