#include "app/shell/MenuBarMenu.h"

#include "app/shell/AppState.h"

#include <QAction>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMenu>
#include <QPointer>

namespace ostrelvan::MenuBarMenu {

namespace {

// The key of an entry, kept whether or not the menu shows it.
const char* const shortcutKey = "ostrelvanShortcut";

// Keys are shown beside the entries in the macOS menu bar, as every Mac app does. Tray menus on
// Linux show none: the panel drawing the exported menu has no way to honour them.
bool showsShortcutTexts() {
    return QGuiApplication::platformName() == QLatin1String("cocoa");
}

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
            const auto key = action->property(shortcutKey).value<QKeySequence>();
            if (action->isEnabled() && !key.isEmpty() &&
                key.matches(pressed) == QKeySequence::ExactMatch) {
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
            const QKeySequence key(QString::fromStdString(entry.shortcut));
            action->setProperty(shortcutKey, key);
            if (showsShortcutTexts()) {
                action->setShortcut(key);
            }
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

void append(QMenu& menu, AppState& state) {
    add(menu, state, MenuBarContent::entries(state.menuBarState()));
}

void fill(QMenu& menu, AppState& state) {
    menu.clear();
    append(menu, state);
}

} // namespace ostrelvan::MenuBarMenu
