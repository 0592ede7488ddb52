#pragma once

#include "app/shell/TrayIconArt.h"

#include <QObject>
#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace ostrelvan {

class AppState;

// The tray / menu-bar item: the glyph, a dot while some session needs the user, and the menu,
// rebuilt whenever what it shows changes.
class TrayIcon : public QObject {
    Q_OBJECT
public:
    explicit TrayIcon(AppState& state, QObject* parent = nullptr);
    ~TrayIcon() override;

    // False on a desktop without a tray host (GNOME without the AppIndicator extension): then
    // the item is not shown and the widget's menu carries the entries.
    bool isAvailable() const { return available_; }
    QMenu& menu() { return *menu_; }
    QSystemTrayIcon& item() { return *item_; }
    bool showsAttention() const { return attention_; }

private:
    void rebuildMenu();
    void updateIcon(bool force = false);

    AppState& state_;
    TrayIconArt::Style style_;
    bool available_ = false;
    bool attention_ = false;
    std::unique_ptr<QMenu> menu_;
    std::unique_ptr<QSystemTrayIcon> item_;
};

} // namespace ostrelvan
