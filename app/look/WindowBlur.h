#pragma once

class QRegion;
class QWindow;

namespace ostrelvan::WindowBlur {

// Asks the window server to blur what lies behind `window` by `radius` (0 turns the blur off),
// within `region` (the window's own coordinates, device-independent). Best effort: true only
// where the request was made and is known to be honoured. macOS: the window server's private
// call, looked up at run time, for the whole window. Linux: KDE's blur-behind hint on X11, the
// region's rectangles in device pixels, where KWin's blur effect announces it (KWin picks the
// strength itself).
bool set(int radius, QWindow& window, const QRegion& region);

} // namespace ostrelvan::WindowBlur
