#pragma once

#include "WidgetActions.h"

#include <QPoint>

class QMenu;
class QWidget;

namespace ostrelvan {

// The widget's own menu: "Settings…", "Restart Ostrelvan", "Quit Ostrelvan", then whatever the
// application appends. The same entries end the menus of the column, the panel and every row.
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
