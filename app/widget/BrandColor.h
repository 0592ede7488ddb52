#pragma once

#include <QColor>

// The two colours that say "Ostrelvan" wherever it draws: on the widget, the tray icon and the
// application's icon.
namespace ostrelvan::BrandColor {

// The brand's sea green: the connect button, the tray icon's disk, the application icon's tile.
inline QColor tide() {
    return QColor(47, 143, 136);
}

// The lamps' orange for a session that needs the user; also the tray icon's dot.
inline QColor attention() {
    return QColor(255, 159, 67);
}

} // namespace ostrelvan::BrandColor
