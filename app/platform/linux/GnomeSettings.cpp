#include "app/platform/linux/GnomeSettings.h"

#include <dlfcn.h>

namespace ostrelvan {

namespace {

// The few GIO functions used, found once for the life of the process.
struct Gio {
    void* (*defaultSource)() = nullptr;
    void* (*lookup)(void*, const char*, int) = nullptr;
    int (*hasKey)(void*, const char*) = nullptr;
    void (*unrefSchema)(void*) = nullptr;
    void* (*create)(void*, void*, const char*) = nullptr;
    void (*unref)(void*) = nullptr;
    int (*getBoolean)(void*, const char*) = nullptr;
    char* (*getString)(void*, const char*) = nullptr;
    void (*free)(void*) = nullptr;

    bool complete() const {
        return defaultSource && lookup && hasKey && unrefSchema && create && unref && getBoolean &&
               getString && free;
    }

    static const Gio* get() {
        static const Gio gio = load();
        return gio.complete() ? &gio : nullptr;
    }

private:
    template <class Function> static void find(void* library, const char* name, Function& f) {
        f = reinterpret_cast<Function>(::dlsym(library, name));
    }

    static Gio load() {
        Gio gio;
        void* library = ::dlopen("libgio-2.0.so.0", RTLD_NOW | RTLD_LOCAL);
        if (!library)
            return gio;
        find(library, "g_settings_schema_source_get_default", gio.defaultSource);
        find(library, "g_settings_schema_source_lookup", gio.lookup);
        find(library, "g_settings_schema_has_key", gio.hasKey);
        find(library, "g_settings_schema_unref", gio.unrefSchema);
        find(library, "g_settings_new_full", gio.create);
        find(library, "g_object_unref", gio.unref);
        find(library, "g_settings_get_boolean", gio.getBoolean);
        find(library, "g_settings_get_string", gio.getString);
        find(library, "g_free", gio.free);
        return gio;
    }
};

} // namespace

GnomeSettings::GnomeSettings(const char* schema) {
    const Gio* gio = Gio::get();
    void* source = gio ? gio->defaultSource() : nullptr;
    schema_ = source ? gio->lookup(source, schema, 1) : nullptr;
    if (schema_)
        settings_ = gio->create(schema_, nullptr, nullptr);
}

GnomeSettings::~GnomeSettings() {
    if (const Gio* gio = Gio::get()) {
        if (settings_)
            gio->unref(settings_);
        if (schema_)
            gio->unrefSchema(schema_);
    }
}

std::optional<bool> GnomeSettings::boolean(const char* key) const {
    const Gio* gio = Gio::get();
    if (!settings_ || !gio->hasKey(schema_, key))
        return std::nullopt;
    return gio->getBoolean(settings_, key) != 0;
}

std::optional<std::string> GnomeSettings::string(const char* key) const {
    const Gio* gio = Gio::get();
    if (!settings_ || !gio->hasKey(schema_, key))
        return std::nullopt;
    char* value = gio->getString(settings_, key);
    std::string result = value ? value : "";
    gio->free(value);
    return result;
}

} // namespace ostrelvan
