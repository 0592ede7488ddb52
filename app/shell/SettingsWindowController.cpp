#include "app/shell/SettingsWindowController.h"

#include "app/shell/SettingsView.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>
#include <QWidget>

namespace ostrelvan {

SettingsWindowController::SettingsWindowController(AppSettings& settings,
                                                   std::function<void()> reviewFadeChanged,
                                                   std::function<void(bool)> onVisibilityChange,
                                                   QObject* parent)
    : QObject(parent), settings_(settings), reviewFadeChanged_(std::move(reviewFadeChanged)),
      onVisibilityChange_(std::move(onVisibilityChange)) {}

SettingsWindowController::~SettingsWindowController() {
    if (window_) {
        window_->removeEventFilter(this);
    }
}

void SettingsWindowController::show() {
    if (!window_) {
        window_ = std::make_unique<QWidget>();
        window_->setWindowTitle(QStringLiteral("Ostrelvan Settings"));
        auto* layout = new QVBoxLayout(window_.get());
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(new SettingsView(settings_, reviewFadeChanged_, window_.get()));
        layout->setSizeConstraint(QLayout::SetFixedSize);
        window_->installEventFilter(this);
        window_->adjustSize();
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            QRect frame = window_->frameGeometry();
            frame.moveCenter(screen->availableGeometry().center());
            window_->move(frame.topLeft());
        }
    }
    window_->show();
    window_->setWindowState(window_->windowState() & ~Qt::WindowMinimized);
    window_->raise();
    window_->activateWindow();
}

bool SettingsWindowController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_.get()) {
        switch (event->type()) {
        case QEvent::Show:
        case QEvent::WindowActivate:
            report(true);
            break;
        case QEvent::Hide:
            report(false);
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

void SettingsWindowController::report(bool visible) {
    if (visible == reportedVisible_) {
        return;
    }
    reportedVisible_ = visible;
    if (onVisibilityChange_) {
        onVisibilityChange_(visible);
    }
}

} // namespace ostrelvan
