#pragma once

class QMenu;

namespace ostrelvan {

class AppState;

// The app's menu as Qt actions, built from the application state's current entries: the tray's
// (whose host may draw it itself, from the exported copy) and the widget's.
namespace MenuBarMenu {

// Replaces the menu's actions with the current entries, each wired to the state.
void fill(QMenu& menu, AppState& state);

// Adds the current entries after the menu's own (a session row's).
void append(QMenu& menu, AppState& state);

} // namespace MenuBarMenu

} // namespace ostrelvan
