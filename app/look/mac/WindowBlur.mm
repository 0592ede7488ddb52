#include "app/look/WindowBlur.h"

#import <AppKit/AppKit.h>
#include <QRegion>
#include <QWindow>
#include <cstdint>
#include <dlfcn.h>

namespace ostrelvan::WindowBlur {

namespace {
// Private window-server functions: present in every macOS release so far, but looked up at run
// time so that their absence only costs the blur.
using DefaultConnection = std::int32_t (*)();
using SetBackgroundBlurRadius = std::int32_t (*)(std::int32_t, std::int32_t, std::int32_t);
} // namespace

// The window server blurs behind the whole window; the region is for window managers that
// blur only part of it.
bool set(int radius, QWindow& window, const QRegion&) {
    if (!window.handle())
        return false;
    // Qt's cocoa window id is the window's NSView, which Qt owns.
    NSView* view = (__bridge NSView*)reinterpret_cast<void*>(window.winId());
    const NSInteger number = view.window.windowNumber;
    if (number < 1)
        return false;
    const auto connection =
        reinterpret_cast<DefaultConnection>(dlsym(RTLD_DEFAULT, "CGSDefaultConnectionForThread"));
    const auto setBlur = reinterpret_cast<SetBackgroundBlurRadius>(
        dlsym(RTLD_DEFAULT, "CGSSetWindowBackgroundBlurRadius"));
    if (!connection || !setBlur)
        return false;
    return setBlur(connection(), std::int32_t(number), std::int32_t(radius)) == 0;
}

} // namespace ostrelvan::WindowBlur
