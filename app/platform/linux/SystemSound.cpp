#include "app/platform/SystemSound.h"

#include "app/platform/linux/GnomeSettings.h"

#include <canberra.h>

namespace ostrelvan::SystemSound {

namespace {

// GNOME keeps its event-sound switch and sound theme in GSettings, which plain libcanberra does
// not read (only its GTK module does).
const GnomeSettings& gnomeSound() {
    static const GnomeSettings settings("org.gnome.desktop.sound");
    return settings;
}

// One context for the life of the process: destroying it would cut a playing sound short.
class SoundContext {
public:
    SoundContext() {
        error_ = ca_context_create(&context_);
        if (error_ == CA_SUCCESS) {
            ca_context_change_props(context_, CA_PROP_APPLICATION_NAME, "Ostrelvan",
                                    CA_PROP_APPLICATION_ID, "ostrelvan",
                                    CA_PROP_APPLICATION_ICON_NAME, "ostrelvan", nullptr);
        }
    }

    ca_context* get() const { return error_ == CA_SUCCESS ? context_ : nullptr; }
    int error() const { return error_; }

private:
    ca_context* context_ = nullptr;
    int error_ = CA_SUCCESS;
};

} // namespace

std::optional<std::string> play(Cue cue) {
    if (!gnomeSound().boolean("event-sounds").value_or(true)) {
        return "event sounds are switched off in the desktop's sound settings";
    }
    static const SoundContext context;
    if (!context.get()) {
        return std::string("no sound context: ") + ca_strerror(context.error());
    }
    // The freedesktop theme has no "dialog-question"; these two exist in it and in the themes
    // that inherit from it.
    const char* event = cue == Cue::approval ? "message-new-instant" : "complete";
    const char* description = cue == Cue::approval ? "A Claude Code session needs approval"
                                                   : "A Claude Code session is done";
    std::string theme = gnomeSound().string("theme-name").value_or("");
    if (theme.empty()) {
        theme = "freedesktop";
    }
    const int result =
        ca_context_play(context.get(), 0, CA_PROP_EVENT_ID, event, CA_PROP_EVENT_DESCRIPTION,
                        description, CA_PROP_CANBERRA_XDG_THEME_NAME, theme.c_str(), nullptr);
    if (result != CA_SUCCESS) {
        return std::string("cannot play the sound \"") + event + "\" of the theme \"" + theme +
               "\": " + ca_strerror(result);
    }
    return std::nullopt;
}

} // namespace ostrelvan::SystemSound
