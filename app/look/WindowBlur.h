#pragma once

class QWindow;

namespace ostrelvan::WindowBlur {

// Asks the window server to blur what lies behind `window` by `radius` (0 turns the blur off).
// Best effort: true only where the request was made and is known to be honoured. macOS: the
// window server's private call, looked up at run time. Linux: KDE's blur-behind hint on X11,
// where KWin's blur effect announces it (KWin picks the strength itself).
bool set(int radius, QWindow& window);

} // namespace ostrelvan::WindowBlur
