#include "app/integration/HelperInstaller.h"

#include "base/FileDescriptor.h"
#include "base/FileSystem.h"
#include "base/TemporaryFile.h"
#include "core/DataPaths.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <system_error>
#include <unistd.h>

namespace ostrelvan::HelperInstaller {

namespace fs = std::filesystem;

namespace {

constexpr mode_t executableMode = 0755;

std::string newUUID() {
    std::random_device entropy;
    std::array<unsigned char, 16> bytes{};
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(entropy());
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);
    char text[37];
    std::snprintf(text, sizeof text,
                  "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                  bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8],
                  bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    return text;
}

// An executable file whose bytes are `bytes`; the size is compared before any byte is read.
bool isExecutableCopy(const fs::path& path, const std::string& bytes) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           static_cast<std::size_t>(info.st_size) == bytes.size() &&
           ::access(path.c_str(), X_OK) == 0 && FileSystem::readRegularFile(path) == bytes;
}

// Tells the helper at `destination` that it is the copy installed for the data root above its
// folder, so it records there whatever environment Claude Code starts it with.
void markInstalled(const fs::path& destination) {
    const fs::path marker = destination.parent_path() / DataPaths::installedMarker;
    if (::access(marker.c_str(), F_OK) == 0)
        return;
    const FileDescriptor file(::open(marker.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!file.isOpen())
        throw std::system_error(errno, std::generic_category(), "cannot write " + marker.string());
}

} // namespace

std::optional<fs::path> bundledHelper(const std::optional<fs::path>& executableDirectory) {
    if (!executableDirectory || executableDirectory->empty())
        return std::nullopt;
    return *executableDirectory / helperName;
}

bool refresh(const std::optional<fs::path>& source, const fs::path& destination) {
    if (!source)
        throw HelperInstallerError::missingBundledHelper();
    struct stat info {};
    if (::stat(source->c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        throw HelperInstallerError::missingBundledHelper(*source);
    const auto bytes = FileSystem::readRegularFile(*source);
    if (!bytes)
        throw std::system_error(errno, std::generic_category(), "cannot read " + source->string());

    const fs::path directory = destination.parent_path();
    FileSystem::createPrivateDirectories(directory);
    markInstalled(destination);
    if (isExecutableCopy(destination, *bytes))
        return false;
    // Flushed to disk before it replaces the old helper: a hook that runs after a power cut must
    // not find an empty file.
    TemporaryFile copy(directory / (temporaryPrefix + newUUID()), *bytes, executableMode, true);
    if (!copy.moveTo(destination))
        throw HelperInstallerError::fileWriteUnknown(destination, errno);
    return true;
}

} // namespace ostrelvan::HelperInstaller
