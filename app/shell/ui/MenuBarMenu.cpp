#include "MenuBarMenu.h"

#include "AppState.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QPointer>

namespace ostrelvan::MenuBarMenu {

void fill(QMenu& menu, AppState& state) {
    menu.clear();
    QPointer<AppState> target(&state);
    for (const MenuEntry& entry : MenuBarContent::entries(state.menuBarState())) {
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
            // Queued: a command may rebuild this very menu.
            QObject::connect(
                action, &QAction::triggered, &state,
                [target, command] {
                    if (target) {
                        target->perform(command);
                    }
                },
                Qt::QueuedConnection);
        }
    }
}

} // namespace ostrelvan::MenuBarMenu
