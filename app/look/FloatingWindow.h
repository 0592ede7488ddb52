#pragma once

#include <QtCore/qnamespace.h>

class QWindow;

// A window that floats over every other one and belongs to no workspace of its own: the widget.
namespace ostrelvan::FloatingWindow {

// The window type to make it with, before the frameless and stays-on-top hints. macOS: a tool
// window (a panel that never activates the app). X11: a plain window, because window managers
// take a tool window without a parent for the dialog of the app's hidden leader window (mutter
// logs an invalid WM_TRANSIENT_FOR at every start).
Qt::WindowFlags type();

// Puts `window` on every workspace (virtual desktop, Space) and keeps it out of task bars,
// pagers and window switchers. Call it each time the window is about to be shown (its native
// window made, not yet mapped): X11 window managers read a window's state when it is mapped and
// forget it when it is hidden.
void joinAllWorkspaces(QWindow& window);

} // namespace ostrelvan::FloatingWindow
