#pragma once

#include <QObject>
#include <memory>

namespace ostrelvan {

// Whether translucent window pixels are blended with what lies behind. On X11 that needs a
// compositing manager (an owner of the _NET_WM_CM_S<screen> selection); without one they show
// black, and the glass must be drawn opaque. Wayland, macOS and off-screen rendering always
// blend. Call it after the application object exists.
bool hasCompositor();

// Whether the window server blurs behind a window that asks for it (WindowBlur). macOS: when its
// private blur call exists. X11: when the window manager announces the blur-behind property on
// the root window, as KWin's blur effect does; a compositor that announces nothing (mutter,
// xfwm4, picom, a KWin without the effect) blurs nothing.
bool blurAvailable();

// The two facts above, kept current: read when made, and read again whenever the window server
// says that the compositing manager came or went or that the blur announcement changed. It
// waits on the server's own notifications, never on a timer.
class CompositorMonitor : public QObject {
    Q_OBJECT
public:
    explicit CompositorMonitor(QObject* parent = nullptr);
    ~CompositorMonitor() override;

    bool compositing() const { return compositing_; }
    bool blur() const { return blur_; }

    // Reads both again; emits changed() when either differs.
    void refresh();

signals:
    void changed();

private:
    bool compositing_ = true;
    bool blur_ = false;
    struct Native;
    std::unique_ptr<Native> native_;
};

} // namespace ostrelvan
