#include "app/integration/HookInstaller.h"

#include "base/FileSystem.h"
#include "base/TemporaryFile.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ostrelvan::HookInstaller {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

// Copying, comparing and printing a document recurse once per level, so a file nested deeper than
// any real settings file is refused instead of exhausting the stack.
constexpr int maxDepth = 512;

bool nestsTooDeep(std::string_view text) {
    int depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > maxDepth)
                return true;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\n\r") == std::string_view::npos;
}

// Follows a chain of symbolic links, dangling ones included, so that a link into a dotfiles
// repository is written through even before its target exists. ".." is left to the system to
// resolve: the folder holding a link may itself be a link.
fs::path resolveLinks(fs::path path) {
    for (int hops = 0; hops < 40 && fs::is_symlink(path); ++hops) {
        fs::path target = fs::read_symlink(path);
        path = target.is_absolute() ? target : path.parent_path() / target;
    }
    std::error_code error;
    fs::path resolved = fs::weakly_canonical(path, error);
    return error ? path : resolved;
}

json ownedEntry(const Event& event, std::string_view helperPath) {
    json entry = json::object();
    if (event.matcher)
        entry["matcher"] = std::string(*event.matcher);
    json hook = json::object();
    hook["type"] = "command";
    hook["command"] = command(helperPath);
    hook["timeout"] = event.timeout;
    entry["hooks"] = json::array();
    entry["hooks"].push_back(std::move(hook));
    return entry;
}

bool runsCommand(const json& entry, const std::string& expected, int timeout) {
    const json& hooks = entry.at("hooks");
    return std::any_of(hooks.begin(), hooks.end(), [&](const json& hook) {
        const auto limit = hook.find("timeout");
        return hook.at("command") == expected && limit != hook.end() &&
               limit->is_number_integer() && *limit == timeout;
    });
}

std::string doubleQuoted(std::string_view path) {
    std::string quoted;
    quoted.reserve(path.size() + 2);
    quoted += '"';
    quoted += path;
    quoted += '"';
    return quoted;
}

// The mode a newly created file gets from this process: 0666 less the umask.
mode_t defaultFileMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

Settings readSettings(const fs::path& url) {
    if (!fs::exists(url))
        return json::object();
    const auto content = FileSystem::readRegularFile(url);
    if (!content)
        throw std::system_error(errno, std::generic_category(), "cannot read " + url.string());
    return parseSettings(*content, url);
}

Settings parseSettings(std::string_view content, const fs::path& url) {
    if (isBlank(content))
        return json::object();
    if (nestsTooDeep(content))
        throw HookInstallerError::invalidJSON(url);
    json settings = json::parse(content, nullptr, false);
    if (settings.is_discarded() || !settings.is_object())
        throw HookInstallerError::invalidJSON(url);
    return settings;
}

std::string serialise(const Settings& settings) {
    return settings.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

namespace {

// The bytes of the settings file as they are now; none when there is no file.
std::optional<std::string> currentBytes(const fs::path& file) {
    if (!fs::exists(file))
        return std::nullopt;
    auto content = FileSystem::readRegularFile(file);
    if (!content)
        throw std::system_error(errno, std::generic_category(), "cannot read " + file.string());
    return content;
}

// writeSettings, but when `basis` is given and the file no longer holds it, nothing replaces the
// file and the answer is none.
std::optional<SettingsWrite> replace(const Settings& settings, const fs::path& url,
                                     const std::optional<std::string>* basis) {
    const fs::path file = resolveLinks(url);
    SettingsWrite result{file, std::nullopt};
    mode_t mode = defaultFileMode();
    if (fs::exists(file)) {
        fs::path backup = url;
        backup += backupSuffix;
        std::error_code ignored;
        fs::remove(backup, ignored);
        fs::copy_file(file, backup);
        result.backup = backup;
        mode = static_cast<mode_t>(fs::status(file).permissions() & fs::perms::mask);
    } else if (file.has_parent_path()) {
        fs::create_directories(file.parent_path());
    }
    // Claude Code's settings are the user's: flushed to disk before they replace the old ones.
    // Appended rather than "." + name, which GCC 12 misreads as an overlapping copy at -O2.
    std::string hidden(".");
    hidden.append(file.filename().string())
        .append(".ostrelvan-")
        .append(std::to_string(::getpid()));
    const fs::path temporary = file.parent_path() / hidden;
    TemporaryFile written(temporary, serialise(settings), mode, true);
    if (basis && currentBytes(file) != *basis)
        return std::nullopt;
    if (!written.moveTo(file))
        throw std::system_error(errno, std::generic_category(), "cannot write " + file.string());
    return result;
}

} // namespace

SettingsWrite writeSettings(const Settings& settings, const fs::path& url) {
    return *replace(settings, url, nullptr);
}

std::optional<SettingsWrite> update(const fs::path& url,
                                    const std::function<Settings(const Settings&)>& change) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        const std::optional<std::string> before = currentBytes(resolveLinks(url));
        const Settings settings = before ? parseSettings(*before, url) : json::object();
        const Settings changed = change(settings);
        if (changed == settings)
            return std::nullopt;
        if (auto written = replace(changed, url, &before))
            return written;
    }
    throw std::system_error(EAGAIN, std::generic_category(),
                            url.string() + " kept changing while it was being written");
}

std::string command(std::string_view helperPath) {
    if (helperPath.find_first_of("\"$`\\") == std::string_view::npos)
        return doubleQuoted(helperPath);
    std::string quoted = "'";
    for (char c : helperPath) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    quoted += '\'';
    return quoted;
}

bool runsHelper(std::string_view command, std::string_view helperPath) {
    return command == HookInstaller::command(helperPath) || command == doubleQuoted(helperPath);
}

bool isOwned(const json& entry, std::string_view helperPath) {
    if (!entry.is_object())
        return false;
    const auto hooks = entry.find("hooks");
    if (hooks == entry.end() || !hooks->is_array() || hooks->empty())
        return false;
    return std::all_of(hooks->begin(), hooks->end(), [&](const json& hook) {
        if (!hook.is_object())
            return false;
        const auto text = hook.find("command");
        if (text == hook.end() || !text->is_string())
            return false;
        const std::string& command = text->get_ref<const std::string&>();
        return command.find(marker) != std::string::npos || runsHelper(command, helperPath);
    });
}

Settings removing(const Settings& settings, std::string_view helperPath) {
    const auto found = settings.find("hooks");
    if (found == settings.end() || !found->is_object())
        return settings;
    json hooks = *found;
    bool changed = false;
    for (auto it = hooks.begin(); it != hooks.end();) {
        if (!it->is_array()) {
            ++it;
            continue;
        }
        json kept = json::array();
        for (const json& entry : *it)
            if (!isOwned(entry, helperPath))
                kept.push_back(entry);
        if (kept.size() == it->size()) {
            ++it;
            continue;
        }
        changed = true;
        if (kept.empty()) {
            it = hooks.erase(it);
        } else {
            *it = std::move(kept);
            ++it;
        }
    }
    if (!changed)
        return settings;
    Settings result = settings;
    if (hooks.empty())
        result.erase("hooks");
    else
        result["hooks"] = std::move(hooks);
    return result;
}

Settings installing(const Settings& settings, std::string_view helperPath) {
    Settings result = removing(settings, helperPath);
    json hooks = json::object();
    if (const auto found = result.find("hooks"); found != result.end() && found->is_object())
        hooks = *found;
    for (const Event& event : events) {
        const std::string name(event.name);
        json entries = json::array();
        if (const auto found = hooks.find(name); found != hooks.end() && found->is_array())
            entries = *found;
        entries.push_back(ownedEntry(event, helperPath));
        hooks[name] = std::move(entries);
    }
    result["hooks"] = std::move(hooks);
    return result;
}

bool isInstalled(const Settings& settings, std::string_view helperPath) {
    if (!settings.is_object())
        return false;
    const auto hooks = settings.find("hooks");
    if (hooks == settings.end() || !hooks->is_object())
        return false;
    const std::string expected = command(helperPath);
    return std::all_of(events.begin(), events.end(), [&](const Event& event) {
        const auto entries = hooks->find(std::string(event.name));
        if (entries == hooks->end() || !entries->is_array())
            return false;
        const auto owned = [&](const json& entry) { return isOwned(entry, helperPath); };
        const auto ours = std::find_if(entries->begin(), entries->end(), owned);
        return ours != entries->end() && runsCommand(*ours, expected, event.timeout) &&
               std::none_of(std::next(ours), entries->end(), owned);
    });
}

std::optional<SettingsWrite> disconnect(const fs::path& settingsURL, std::string_view helperPath) {
    return update(settingsURL,
                  [&](const Settings& settings) { return removing(settings, helperPath); });
}

} // namespace ostrelvan::HookInstaller
