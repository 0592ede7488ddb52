#include "base/FileSystem.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace ostrelvan::FileSystem {

// An exchange, then the unlink of the old file: ext4 starts writing a file's data back when it is
// renamed over an existing one, which costs a hook process about a millisecond, and an exchange
// does not.
bool replace(const std::filesystem::path& temporary, const std::filesystem::path& target) noexcept {
    const auto exchange = [&] {
        return ::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(),
                           RENAME_EXCHANGE) == 0;
    };
    if (exchange()) {
        if (::unlink(temporary.c_str()) == 0)
            return true;
        // The target was no file (a folder, say): undo, and let rename refuse it as it would.
        exchange();
    }
    // No target yet, or a file system without exchange: the plain rename.
    return ::rename(temporary.c_str(), target.c_str()) == 0;
}

struct timespec modificationTime(const struct stat& info) {
    return info.st_mtim;
}

struct timespec changeTime(const struct stat& info) {
    return info.st_ctim;
}

std::filesystem::path userDataFolder(const std::filesystem::path& home,
                                     std::string_view xdgDataHome) {
    if (xdgDataHome.starts_with('/'))
        return xdgDataHome;
    return home / ".local" / "share";
}

} // namespace ostrelvan::FileSystem
