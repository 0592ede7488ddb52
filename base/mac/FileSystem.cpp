#include "base/FileSystem.h"

#include <cstdio>

namespace ostrelvan::FileSystem {

bool replace(const std::filesystem::path& temporary, const std::filesystem::path& target) noexcept {
    return ::rename(temporary.c_str(), target.c_str()) == 0;
}

struct timespec modificationTime(const struct stat& info) {
    return info.st_mtimespec;
}

struct timespec changeTime(const struct stat& info) {
    return info.st_ctimespec;
}

std::filesystem::path userDataFolder(const std::filesystem::path& home, std::string_view) {
    return home / "Library" / "Application Support";
}

} // namespace ostrelvan::FileSystem
