#include "HookInstallerError.h"

namespace ostrelvan {

HookInstallerError::HookInstallerError(Kind kind, const char* text)
    : std::runtime_error(text), kind_(kind) {}

HookInstallerError HookInstallerError::invalidJSON() {
    return {Kind::invalidJSON,
            "~/.claude/settings.json is not valid JSON, so Ostrelvan left it untouched."};
}

} // namespace ostrelvan
