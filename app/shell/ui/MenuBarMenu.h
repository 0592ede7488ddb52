#pragma once

class QMenu;

namespace ostrelvan {

class AppState;

// The tray / menu-bar menu as Qt actions, built from the application state's current entries.
// The tray uses it, and the widget's own menu when there is no tray.
namespace MenuBarMenu {

// Replaces the menu's actions with the current entries, each wired to the state.
void fill(QMenu& menu, AppState& state);

// Appends, after a divider, the entries that the widget's own menu lacks.
void appendToWidgetMenu(QMenu& menu, AppState& state);

} // namespace MenuBarMenu

} // namespace ostrelvan
