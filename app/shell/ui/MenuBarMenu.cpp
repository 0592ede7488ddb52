#include "MenuBarMenu.h"

#include "AppState.h"

#include <QAction>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMenu>
#include <QPointer>

namespace ostrelvan::MenuBarMenu {

namespace {

// Qt fires the shortcut of a menu's action only when the menu hangs from a menu bar in the
// active window. A tray menu hangs from nothing, so its keys are matched here while it is open.
class ShortcutKeys : public QObject {
public:
    explicit ShortcutKeys(QMenu& menu) : QObject(&menu), menu_(menu) {
        setObjectName(QStringLiteral("ostrelvan-shortcut-keys"));
        menu.installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != &menu_ || event->type() != QEvent::KeyPress) {
            return false;
        }
        const QKeySequence pressed(static_cast<QKeyEvent*>(event)->keyCombination());
        for (QAction* action : menu_.actions()) {
            if (action->isEnabled() && !action->shortcut().isEmpty() &&
                action->shortcut().matches(pressed) == QKeySequence::ExactMatch) {
                menu_.close();
                action->trigger();
                return true;
            }
        }
        return false;
    }

private:
    QMenu& menu_;
};

void add(QMenu& menu, AppState& state, const std::vector<MenuEntry>& entries) {
    if (!menu.findChild<QObject*>(QStringLiteral("ostrelvan-shortcut-keys"),
                                  Qt::FindDirectChildrenOnly)) {
        new ShortcutKeys(menu);
    }
    QPointer<AppState> target(&state);
    for (const MenuEntry& entry : entries) {
        if (entry.kind == MenuEntry::Kind::divider) {
            menu.addSeparator();
            continue;
        }
        QAction* action = menu.addAction(QString::fromStdString(entry.text));
        // Kept where it is: macOS would otherwise move "Settings…" and "Quit" by their names.
        action->setMenuRole(QAction::NoRole);
        action->setEnabled(entry.enabled);
        if (entry.kind == MenuEntry::Kind::toggle) {
            action->setCheckable(true);
            action->setChecked(entry.checked);
        }
        if (!entry.shortcut.empty()) {
            action->setShortcut(QKeySequence(QString::fromStdString(entry.shortcut)));
        }
        if (entry.command != MenuCommand::none) {
            const MenuCommand command = entry.command;
            const std::string requestId = entry.requestId;
            // Queued: a command may rebuild or delete this very menu.
            QObject::connect(
                action, &QAction::triggered, &state,
                [target, command, requestId] {
                    if (target) {
                        target->perform(command, requestId);
                    }
                },
                Qt::QueuedConnection);
        }
    }
}

} // namespace

void fill(QMenu& menu, AppState& state) {
    menu.clear();
    add(menu, state, MenuBarContent::entries(state.menuBarState()));
}

void appendToWidgetMenu(QMenu& menu, AppState& state) {
    const auto extras = MenuBarContent::widgetMenuExtras(state.menuBarState());
    if (!extras.empty()) {
        menu.addSeparator();
        add(menu, state, extras);
    }
}

} // namespace ostrelvan::MenuBarMenu
