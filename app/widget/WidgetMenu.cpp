#include "app/widget/WidgetMenu.h"

#include <QCoreApplication>
#include <QMenu>

namespace ostrelvan {

namespace {
// The entries outlive nothing they capture: each holds its own copy of the callback, so a menu
// still open while the widget rebuilds keeps working.
void addEntry(QMenu& menu, const QString& text, std::function<void()> action) {
    QObject::connect(menu.addAction(text), &QAction::triggered, &menu,
                     [action = std::move(action)] {
                         if (action)
                             action();
                     });
}
} // namespace

void WidgetMenu::addTo(QMenu& menu) const {
    if (actions_.appMenu) {
        actions_.appMenu(menu);
        return;
    }
    addEntry(menu, QStringLiteral("Settings\u2026"), actions_.openSettings);
    addEntry(menu, QStringLiteral("Restart Ostrelvan"), actions_.restart);
    std::function<void()> quit = actions_.quit;
    if (!quit)
        quit = [] { QCoreApplication::quit(); };
    addEntry(menu, QStringLiteral("Quit Ostrelvan"), std::move(quit));
}

void WidgetMenu::popup(QWidget* owner, QPoint globalPos) const {
    auto* menu = new QMenu(owner);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    addTo(*menu);
    menu->popup(globalPos);
}

} // namespace ostrelvan
