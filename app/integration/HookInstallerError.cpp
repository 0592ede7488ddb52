#include "app/integration/HookInstallerError.h"

namespace ostrelvan {

HookInstallerError::HookInstallerError(Kind kind, const std::string& text)
    : std::runtime_error(text), kind_(kind) {}

HookInstallerError HookInstallerError::invalidJSON(const std::filesystem::path& settingsFile) {
    return {Kind::invalidJSON,
            settingsFile.string() + " is not valid JSON, so Ostrelvan left it untouched."};
}

} // namespace ostrelvan
