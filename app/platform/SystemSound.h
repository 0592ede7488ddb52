#pragma once

#include <optional>
#include <string>

// The desktop's own event sounds: "Glass" and "Tink" on macOS; on Linux the freedesktop sound
// theme's events through libcanberra, so the desktop's sound theme and event-sound switch apply.
namespace ostrelvan::SystemSound {

enum class Cue { approval, done };

// Asks for the cue and returns at once; the sound plays in the background. None when it was
// asked for; otherwise why nothing will play (sounds switched off on the desktop, no sound
// theme, no sound server).
std::optional<std::string> play(Cue cue);

} // namespace ostrelvan::SystemSound
