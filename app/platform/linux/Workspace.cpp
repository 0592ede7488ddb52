#include "app/platform/Workspace.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace ostrelvan::Workspace {

namespace {

namespace fs = std::filesystem;

// Names VS Code's desktop entry has in its own package, in Flathub's and in the Snap Store's.
constexpr std::array<std::string_view, 3> vscodeEntries{
    "code.desktop", "com.visualstudio.code.desktop", "code_code.desktop"};

std::optional<fs::path> onPath(std::string_view program, const Environment& environment) {
    const auto path = nonEmpty(environment, "PATH");
    std::string_view rest = path ? std::string_view(*path) : std::string_view("/usr/bin:/bin");
    while (true) {
        const auto colon = rest.find(':');
        const auto folder = rest.substr(0, colon);
        if (!folder.empty()) {
            const fs::path candidate = fs::path(folder) / program;
            std::error_code error;
            if (fs::is_regular_file(candidate, error) && ::access(candidate.c_str(), X_OK) == 0)
                return candidate;
        }
        if (colon == std::string_view::npos)
            return std::nullopt;
        rest.remove_prefix(colon + 1);
    }
}

// The folders that hold desktop entries, most personal first.
std::vector<fs::path> applicationFolders(const Environment& environment) {
    std::vector<fs::path> folders;
    if (const auto dataHome = nonEmpty(environment, "XDG_DATA_HOME"))
        folders.push_back(fs::path(*dataHome) / "applications");
    else if (const auto home = nonEmpty(environment, "HOME"))
        folders.push_back(fs::path(*home) / ".local/share/applications");
    const std::string dataDirs =
        nonEmpty(environment, "XDG_DATA_DIRS").value_or("/usr/local/share:/usr/share");
    std::string_view rest = dataDirs;
    while (!rest.empty()) {
        const auto colon = rest.find(':');
        if (const auto folder = rest.substr(0, colon); !folder.empty())
            folders.push_back(fs::path(folder) / "applications");
        rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
    }
    return folders;
}

// The Exec line of a desktop entry's main group.
std::optional<std::string> execLine(const fs::path& entry) {
    std::ifstream in(entry);
    std::string line;
    bool inMainGroup = false;
    while (std::getline(in, line)) {
        if (line.starts_with('['))
            inMainGroup = line == "[Desktop Entry]";
        else if (inMainGroup && line.starts_with("Exec="))
            return line.substr(5);
    }
    return std::nullopt;
}

// An Exec line as the program and its arguments, with the file field code standing for
// `folder` (appended when there is none); other field codes are dropped.
std::optional<Command> expandExec(std::string_view exec, const std::string& folder) {
    Command words;
    std::string word;
    bool quoted = false, placed = false;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        const char c = exec[i];
        if (quoted) {
            if (c == '"')
                quoted = false;
            else if (c == '\\' && i + 1 < exec.size())
                word += exec[++i];
            else
                word += c;
        } else if (c == '"') {
            quoted = true;
        } else if (c == ' ' || c == '\t') {
            if (!word.empty())
                words.push_back(std::exchange(word, {}));
        } else if (c == '%' && i + 1 < exec.size()) {
            const char code = exec[++i];
            if (code == '%') {
                word += '%';
            } else if (std::string_view("fFuU").find(code) != std::string_view::npos && !placed) {
                word += folder;
                placed = true;
            }
        } else {
            word += c;
        }
    }
    if (!word.empty())
        words.push_back(word);
    if (words.empty() || quoted)
        return std::nullopt;
    if (!placed)
        words.push_back(folder);
    return words;
}

} // namespace

std::optional<Command> openInVSCode(const std::string& folder, const Environment& environment) {
    if (const auto code = onPath("code", environment))
        return Command{code->string(), folder};
    for (const auto& applications : applicationFolders(environment)) {
        for (const auto name : vscodeEntries) {
            const auto exec = execLine(applications / name);
            if (auto command = exec ? expandExec(*exec, folder) : std::nullopt)
                return command;
        }
    }
    return std::nullopt;
}

Command openURL(const std::string& url) {
    return {"xdg-open", url};
}

Command openFolder(const std::string& folder) {
    return {"xdg-open", folder};
}

std::optional<Command> activateApplication(const std::string&) {
    return std::nullopt;
}

const char* showInFileManagerTitle() {
    return "Show in File Manager";
}

bool findsTerminalWindows() {
    return true;
}

} // namespace ostrelvan::Workspace
