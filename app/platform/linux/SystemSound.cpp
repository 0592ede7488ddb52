#include "app/platform/SystemSound.h"

#include <canberra.h>
#include <dlfcn.h>

namespace ostrelvan::SystemSound {

namespace {

// GNOME keeps its event-sound switch and sound theme in GSettings, which plain libcanberra does
// not read (only its GTK module does). GIO is looked up at run time: every GNOME desktop has it,
// and where it or the schema is missing there is no such switch to honour.
class GnomeSoundSettings {
public:
    GnomeSoundSettings() {
        void* gio = ::dlopen("libgio-2.0.so.0", RTLD_NOW | RTLD_LOCAL);
        if (!gio) {
            return;
        }
        auto defaultSource = symbol<void* (*)()>(gio, "g_settings_schema_source_get_default");
        auto lookup =
            symbol<void* (*)(void*, const char*, int)>(gio, "g_settings_schema_source_lookup");
        auto hasKey = symbol<int (*)(void*, const char*)>(gio, "g_settings_schema_has_key");
        auto unref = symbol<void (*)(void*)>(gio, "g_settings_schema_unref");
        auto create = symbol<void* (*)(void*, void*, const char*)>(gio, "g_settings_new_full");
        getBoolean_ = symbol<int (*)(void*, const char*)>(gio, "g_settings_get_boolean");
        getString_ = symbol<char* (*)(void*, const char*)>(gio, "g_settings_get_string");
        free_ = symbol<void (*)(void*)>(gio, "g_free");
        if (!defaultSource || !lookup || !hasKey || !unref || !create || !getBoolean_ ||
            !getString_ || !free_) {
            return;
        }
        void* source = defaultSource();
        void* schema = source ? lookup(source, "org.gnome.desktop.sound", 1) : nullptr;
        if (!schema) {
            return;
        }
        if (hasKey(schema, "event-sounds") && hasKey(schema, "theme-name")) {
            settings_ = create(schema, nullptr, nullptr); // kept for the life of the process
        }
        unref(schema);
    }

    // Read at each cue: the dconf backend answers from shared memory, always current.
    bool eventSounds() const { return !settings_ || getBoolean_(settings_, "event-sounds") != 0; }

    std::string themeName() const {
        if (!settings_) {
            return {};
        }
        char* name = getString_(settings_, "theme-name");
        std::string result = name ? name : "";
        free_(name);
        return result;
    }

private:
    template <class Function> static Function symbol(void* library, const char* name) {
        return reinterpret_cast<Function>(::dlsym(library, name));
    }

    void* settings_ = nullptr;
    int (*getBoolean_)(void*, const char*) = nullptr;
    char* (*getString_)(void*, const char*) = nullptr;
    void (*free_)(void*) = nullptr;
};

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
    static const GnomeSoundSettings gnome;
    if (!gnome.eventSounds()) {
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
    std::string theme = gnome.themeName();
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
