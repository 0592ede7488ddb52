#include "app/look/FloatingWindow.h"

#import <AppKit/AppKit.h>
#include <QWindow>

namespace ostrelvan::FloatingWindow {

Qt::WindowFlags type() {
    return Qt::Tool;
}

void joinAllWorkspaces(QWindow& window) {
    // Qt's cocoa window id is the window's NSView, which Qt owns.
    NSView* view = (__bridge NSView*)reinterpret_cast<void*>(window.winId());
    if (!view.window)
        return;
    // On every Space and beside full-screen apps, left in place by Mission Control and skipped by
    // the window cycle, as the menu bar is.
    view.window.collectionBehavior |=
        NSWindowCollectionBehaviorCanJoinAllSpaces | NSWindowCollectionBehaviorStationary |
        NSWindowCollectionBehaviorFullScreenAuxiliary | NSWindowCollectionBehaviorIgnoresCycle;
}

} // namespace ostrelvan::FloatingWindow
