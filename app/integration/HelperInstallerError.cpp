#include "app/integration/HelperInstallerError.h"

#include <cstring>

namespace ostrelvan {

HelperInstallerError::HelperInstallerError(Kind kind, const std::string& text)
    : std::runtime_error(text), kind_(kind) {}

HelperInstallerError
HelperInstallerError::missingBundledHelper(const std::filesystem::path& expected) {
    std::string text = "Ostrelvan's hook helper ostrelvan-hook is missing";
    if (!expected.empty())
        text += " (looked for " + expected.string() + ")";
    return {Kind::missingBundledHelper, text + ", so nothing was installed."};
}

HelperInstallerError
HelperInstallerError::fileWriteUnknown(const std::filesystem::path& destination, int errorNumber) {
    return {Kind::fileWriteUnknown, "Could not put the hook helper in place at " +
                                        destination.string() + ": " + std::strerror(errorNumber)};
}

} // namespace ostrelvan
