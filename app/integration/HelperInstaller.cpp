#include "HelperInstaller.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <system_error>
#include <unistd.h>

namespace ostrelvan::HelperInstaller {

namespace fs = std::filesystem;

namespace {

constexpr fs::perms executableMode = static_cast<fs::perms>(0755);

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

bool sameContents(const fs::path& a, const fs::path& b) {
    std::error_code error;
    const auto sizeA = fs::file_size(a, error);
    if (error)
        return false;
    const auto sizeB = fs::file_size(b, error);
    if (error || sizeA != sizeB)
        return false;
    std::ifstream left(a, std::ios::binary);
    std::ifstream right(b, std::ios::binary);
    if (!left || !right)
        return false;
    std::array<char, 65536> bufferA{};
    std::array<char, 65536> bufferB{};
    while (left && right) {
        left.read(bufferA.data(), bufferA.size());
        right.read(bufferB.data(), bufferB.size());
        if (left.gcount() != right.gcount() ||
            !std::equal(bufferA.begin(), bufferA.begin() + left.gcount(), bufferB.begin()))
            return false;
    }
    return left.eof() && right.eof();
}

bool isExecutableFile(const fs::path& path) {
    return fs::is_regular_file(path) && ::access(path.c_str(), X_OK) == 0;
}

// The data root holds the user's commands, so folders created on the way are private.
void createPrivateDirectories(const fs::path& directory) {
    if (directory.empty() || fs::is_directory(directory))
        return;
    createPrivateDirectories(directory.parent_path());
    if (fs::create_directory(directory))
        fs::permissions(directory, fs::perms::owner_all);
}

// The helper is flushed to disk before it replaces the old one: a hook that runs after a power
// cut must not find an empty file.
void flush(const fs::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), "cannot write " + path.string());
    const int result = ::fsync(fd);
    const int error = errno;
    ::close(fd);
    if (result != 0)
        throw std::system_error(error, std::generic_category(), "cannot write " + path.string());
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
    if (!fs::is_regular_file(*source))
        throw HelperInstallerError::missingBundledHelper(*source);
    if (isExecutableFile(destination) && sameContents(*source, destination))
        return false;

    const fs::path directory = destination.parent_path();
    createPrivateDirectories(directory);
    const fs::path temporary = directory / (temporaryPrefix + newUUID());
    try {
        fs::copy_file(*source, temporary);
        fs::permissions(temporary, executableMode);
        flush(temporary);
    } catch (...) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        throw;
    }
    if (::rename(temporary.c_str(), destination.c_str()) != 0) {
        const int error = errno;
        std::error_code ignored;
        fs::remove(temporary, ignored);
        throw HelperInstallerError::fileWriteUnknown(destination, error);
    }
    return true;
}

} // namespace ostrelvan::HelperInstaller
