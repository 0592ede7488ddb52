#pragma once

#include "app/platform/WindowActivation.h"

namespace ostrelvan::KWinScript {

// Native Wayland windows cannot be seen or raised by another client. KWin lets a script do it:
// this loads one over D-Bus that activates the first window owned by a process of `chain`
// (switching to its desktop), runs it and unloads it. Unavailable when KWin is not on the
// session bus. Activated means KWin ran the script; whether it found a window it does not say.
WindowActivation::Outcome activate(const std::vector<std::int32_t>& chain);

} // namespace ostrelvan::KWinScript
