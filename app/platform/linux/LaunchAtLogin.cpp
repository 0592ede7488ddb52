#include "app/platform/LaunchAtLogin.h"

#include "base/FileSystem.h"
#include "base/TemporaryFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace ostrelvan::LaunchAtLogin {

namespace fs = std::filesystem;

namespace {

std::optional<fs::path> autostartFile(const Environment& environment) {
    // A relative XDG_CONFIG_HOME is invalid and ignored, as the base-directory rules say.
    if (auto config = nonEmpty(environment, "XDG_CONFIG_HOME");
        config && fs::path(*config).is_absolute()) {
        return fs::path(*config) / "autostart" / "ostrelvan.desktop";
    }
    if (auto home = nonEmpty(environment, "HOME")) {
        return fs::path(*home) / ".config" / "autostart" / "ostrelvan.desktop";
    }
    return std::nullopt;
}

// The Exec value for one program path: quoted, with the characters that are special inside
// quotes escaped, then every backslash doubled for the file's own string escapes, and "%" (a
// field code) doubled.
std::string execValue(const std::string& program) {
    if (program.find_first_of("\n\r") != std::string::npos) {
        throw std::runtime_error("cannot start at login a program whose path has a line break");
    }
    std::string quoted = "\"";
    for (char c : program) {
        if (c == '"' || c == '`' || c == '$' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    quoted += '"';
    std::string value;
    for (char c : quoted) {
        if (c == '\\') {
            value += "\\\\";
        } else if (c == '%') {
            value += "%%";
        } else {
            value += c;
        }
    }
    return value;
}

std::string entry(const fs::path& executable) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Ostrelvan\n"
           "Comment=Claude Code sessions at a glance\n"
           "Exec=" +
           execValue(executable.string()) +
           "\n"
           "Icon=ostrelvan\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

// An entry the user (or a desktop's settings panel) switched off without deleting it.
bool switchedOff(const std::string& content) {
    std::istringstream lines(content);
    bool inMainGroup = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("[")) {
            inMainGroup = line == "[Desktop Entry]";
        } else if (inMainGroup &&
                   (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false")) {
            return true;
        }
    }
    return false;
}

[[noreturn]] void fail(const std::string& what, const fs::path& path, int error) {
    throw std::runtime_error(what + " " + path.string() + ": " + std::strerror(error));
}

} // namespace

bool isEnabled(const Environment& environment) {
    const auto file = autostartFile(environment);
    if (!file) {
        return false;
    }
    const auto content = FileSystem::readRegularFile(*file);
    return content && !switchedOff(*content);
}

void set(bool enabled, const Environment& environment, const fs::path& executable) {
    const auto file = autostartFile(environment);
    if (!file) {
        throw std::runtime_error("cannot find the autostart folder: neither XDG_CONFIG_HOME nor "
                                 "HOME is set");
    }
    if (!enabled) {
        // Deleted rather than marked: systemd's autostart generator (used by Plasma) ignores
        // X-GNOME-Autostart-enabled.
        if (std::remove(file->c_str()) != 0 && errno != ENOENT) {
            fail("cannot remove", *file, errno);
        }
        return;
    }
    std::error_code error;
    fs::create_directories(file->parent_path(), error);
    if (error) {
        fail("cannot create", file->parent_path(), error.value());
    }
    // Readers see the old entry or the new one, never half of it.
    TemporaryFile temporary(file->string() + ".new", entry(executable), 0644, false);
    if (!temporary.moveTo(*file)) {
        fail("cannot write", *file, errno);
    }
}

} // namespace ostrelvan::LaunchAtLogin
