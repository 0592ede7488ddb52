#pragma once

#include <filesystem>
#include <stdexcept>

namespace ostrelvan {

// The one failure of the hook installer that it names itself; file-system errors pass through
// as the std::filesystem::filesystem_error or std::system_error they are.
class HookInstallerError : public std::runtime_error {
public:
    enum class Kind { invalidJSON };

    // Names the settings file that Claude Code reads, wherever CLAUDE_CONFIG_DIR puts it.
    static HookInstallerError invalidJSON(const std::filesystem::path& settingsFile);

    Kind kind() const { return kind_; }

private:
    HookInstallerError(Kind kind, const std::string& text);
    Kind kind_;
};

} // namespace ostrelvan
