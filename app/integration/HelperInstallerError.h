#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace ostrelvan {

// Failures of the helper installer beyond plain file-system errors, which pass through as they
// are: no bundled helper to install, or the final rename that puts the copy in place failed.
class HelperInstallerError : public std::runtime_error {
public:
    enum class Kind { missingBundledHelper, fileWriteUnknown };

    // `expected` is where the helper was looked for, when there was a place to look.
    static HelperInstallerError missingBundledHelper(const std::filesystem::path& expected = {});
    static HelperInstallerError fileWriteUnknown(const std::filesystem::path& destination,
                                                 int errorNumber);

    Kind kind() const { return kind_; }

private:
    HelperInstallerError(Kind kind, const std::string& text);
    Kind kind_;
};

} // namespace ostrelvan
