#pragma once

#include "app/widget/WidgetActions.h"

#include <QPoint>

class QMenu;
class QWidget;

namespace ostrelvan {

// The widget's menu: the application's menu when it gives one (the tray's entries, in the tray's
// order), else "Settings…", "Restart Ostrelvan" and "Quit Ostrelvan". The same entries make the
// menus of the column and the panel and end every row's.
class WidgetMenu {
public:
    explicit WidgetMenu(const WidgetActions& actions) : actions_(actions) {}

    void addTo(QMenu& menu) const;
    // Shows a menu of the widget's entries at `globalPos`; it deletes itself once closed.
    void popup(QWidget* owner, QPoint globalPos) const;

private:
    const WidgetActions& actions_;
};

} // namespace ostrelvan
