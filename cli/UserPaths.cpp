#include "cli/UserPaths.h"

#include "cli/TerminalText.h"

#include <pwd.h>
#include <unistd.h>

namespace ostrelvan::cli::UserPaths {

namespace {

std::optional<std::string> accountHome() {
    const passwd* entry = getpwuid(getuid());
    if (entry && entry->pw_dir && entry->pw_dir[0] == '/') {
        return std::string(entry->pw_dir);
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> settle(Environment& environment) {
    if (!nonEmpty(environment, "HOME")) {
        const auto home = accountHome();
        if (!home) {
            return "HOME is not set and this user's home folder is unknown; set HOME to it.";
        }
        environment.insert_or_assign("HOME", *home);
    }
    for (const std::string_view name : {"HOME", "OSTRELVAN_DATA_DIR", "CLAUDE_CONFIG_DIR"}) {
        const auto value = nonEmpty(environment, name);
        if (!value || value->front() == '/') {
            continue;
        }
        const std::string shown =
            std::string("\"").append(TerminalText::sanitized(*value)).append("\"");
        if (value->front() == '~') {
            return std::string(name) + " is " + shown +
                   ", but \"~\" is only expanded by a shell; give the full path.";
        }
        return std::string(name) + " is " + shown +
               ", a relative path; give an absolute one (starting with \"/\").";
    }
    return std::nullopt;
}

} // namespace ostrelvan::cli::UserPaths
