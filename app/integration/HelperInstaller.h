#pragma once

#include "app/integration/HelperInstallerError.h"

#include <filesystem>
#include <optional>

// Keeps a copy of the bundled hook helper at a fixed place in the data directory, so the hook
// commands in Claude Code's settings survive the app being moved or updated.
namespace ostrelvan::HelperInstaller {

inline constexpr const char* helperName = "ostrelvan-hook";
inline constexpr const char* temporaryPrefix = ".ostrelvan-hook.";

// The helper beside the program's executable; none when that directory is unknown. Whether the
// file exists is not checked here.
std::optional<std::filesystem::path>
bundledHelper(const std::optional<std::filesystem::path>& executableDirectory);

// Makes `destination` an executable (0755) copy of `source`, put in place by one rename. Returns
// false, touching nothing, when the destination is already executable and byte-for-byte equal.
// Throws HelperInstallerError (missingBundledHelper when there is no source file,
// fileWriteUnknown when the rename fails) and file-system errors as they are.
bool refresh(const std::optional<std::filesystem::path>& source,
             const std::filesystem::path& destination);

} // namespace ostrelvan::HelperInstaller
