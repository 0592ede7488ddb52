#pragma once

#include <optional>
#include <string>

namespace ostrelvan {

// One schema of GNOME's settings (GSettings), read in this process through GIO, which is looked up
// at run time: every GNOME desktop has it, and where it, the schema or a key is missing there is
// no such setting to honour. Reads answer from the settings backend's shared memory, so they are
// always current and cheap enough to make at each use.
class GnomeSettings {
public:
    explicit GnomeSettings(const char* schema);
    ~GnomeSettings();
    GnomeSettings(const GnomeSettings&) = delete;
    GnomeSettings& operator=(const GnomeSettings&) = delete;

    // None when the key is missing from the schema, or the schema from the machine.
    std::optional<bool> boolean(const char* key) const;
    // A string or enumeration key's value: 'prefer-dark' reads as prefer-dark.
    std::optional<std::string> string(const char* key) const;

private:
    void* settings_ = nullptr;
    void* schema_ = nullptr;
};

} // namespace ostrelvan
