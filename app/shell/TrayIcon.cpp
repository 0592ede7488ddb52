#include "app/shell/TrayIcon.h"

#include "app/services/Log.h"
#include "app/shell/AppState.h"
#include "app/shell/MenuBarMenu.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QSystemTrayIcon>

namespace ostrelvan {

namespace {

// The macOS menu bar tints template images for its own appearance.
TrayIconArt::Style platformStyle() {
    return QGuiApplication::platformName() == QLatin1String("cocoa")
               ? TrayIconArt::Style::templateImage
               : TrayIconArt::Style::contrasted;
}

} // namespace

TrayIcon::TrayIcon(AppState& state, QObject* parent)
    : QObject(parent), state_(state), style_(platformStyle()),
      available_(QSystemTrayIcon::isSystemTrayAvailable()), menu_(std::make_unique<QMenu>()),
      item_(std::make_unique<QSystemTrayIcon>()) {
    rebuildMenu();
    updateIcon(true);
    item_->setToolTip(QStringLiteral("Ostrelvan"));
    item_->setContextMenu(menu_.get());

    connect(&state_.settings(), &AppSettings::changed, this, &TrayIcon::rebuildMenu);
    connect(&state_, &AppState::hookErrorChanged, this, &TrayIcon::rebuildMenu);
    connect(&state_, &AppState::launchAtLoginChanged, this, &TrayIcon::rebuildMenu);
    connect(&state_.updater(), &AppUpdater::changed, this, &TrayIcon::rebuildMenu);
    connect(&state_.requests(), &PermissionRequests::pendingChanged, this, &TrayIcon::rebuildMenu);
    connect(&state_.store(), &SessionStore::sessionsChanged, this, [this] { updateIcon(); });
    // Elsewhere than macOS a click (not only a right click) opens the menu as well: the very menu
    // whose exported copy a StatusNotifierItem host draws on a right click (a left click only
    // reaches the app, as Activate), with the same entries in the same order.
    if (style_ == TrayIconArt::Style::contrasted) {
        connect(item_.get(), &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger) {
                        menu_->popup(QCursor::pos());
                    }
                });
    }

    // Asked for even without a tray host: Qt embeds it if a host turns up later.
    item_->show();
    if (!available_) {
        qCWarning(uiLog, "no system tray on this desktop; the widget's menu carries the tray "
                         "menu's entries");
    }
}

TrayIcon::~TrayIcon() = default;

void TrayIcon::rebuildMenu() {
    MenuBarMenu::fill(*menu_, state_);
}

void TrayIcon::updateIcon(bool force) {
    const bool attention = MenuBarContent::needsAttention(state_.store().sessions());
    if (attention == attention_ && !force) {
        return;
    }
    attention_ = attention;
    item_->setIcon(TrayIconArt::icon(attention_, style_));
}

} // namespace ostrelvan
