#include "app/store/UserFolders.h"

#include "core/ClaudeRegistry.h"
#include "core/DataPaths.h"

#include <pwd.h>
#include <unistd.h>

namespace ostrelvan {

namespace {

std::optional<std::string> accountHome() {
    const passwd* entry = getpwuid(getuid());
    if (entry && entry->pw_dir && entry->pw_dir[0] == '/') {
        return std::string(entry->pw_dir);
    }
    return std::nullopt;
}

// A value as it can be shown on one line of a terminal or a log.
std::string shownValue(std::string_view value) {
    std::string shown = "\"";
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        shown += byte < 0x20 || byte == 0x7f ? '?' : c;
    }
    return shown + "\"";
}

} // namespace

std::optional<std::string> UserFolders::settle(Environment& environment) {
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
        if (value->front() == '~') {
            return std::string(name) + " is " + shownValue(*value) +
                   ", but \"~\" is only expanded by a shell; give the full path.";
        }
        return std::string(name) + " is " + shownValue(*value) +
               ", a relative path; give an absolute one (starting with \"/\").";
    }
    return std::nullopt;
}

UserFolders::UserFolders(Environment environment, std::filesystem::path home)
    : environment_(std::move(environment)), home_(std::move(home)) {}

UserFolders::UserFolders(const Environment& environment)
    : UserFolders(environment, nonEmpty(environment, "HOME").value_or("")) {}

std::filesystem::path UserFolders::dataRoot() const {
    return DataPaths::root(environment_);
}

std::filesystem::path UserFolders::sessions() const {
    return DataPaths::sessions(dataRoot());
}

std::filesystem::path UserFolders::helper() const {
    const std::filesystem::path path = DataPaths::helper(dataRoot());
    std::error_code ignored;
    const std::filesystem::path absolute = std::filesystem::absolute(path, ignored);
    return (absolute.empty() ? path : absolute).lexically_normal();
}

std::filesystem::path UserFolders::claudeConfig() const {
    return ClaudeRegistry::configDirectory(home_, environment_);
}

std::filesystem::path UserFolders::claudeSettings() const {
    return claudeConfig() / "settings.json";
}

std::filesystem::path UserFolders::claudeRegistry() const {
    return ClaudeRegistry::sessionsDirectory(claudeConfig());
}

std::vector<std::filesystem::path> UserFolders::claudeOwnFolders() const {
    return ClaudeRegistry::ownFolders(home_, environment_);
}

ClaudeSystem UserFolders::liveSystem() const {
    return ClaudeSystem::live(home_, environment_);
}

} // namespace ostrelvan
