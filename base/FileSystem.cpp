#include "base/FileSystem.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace ostrelvan::FileSystem {

namespace {

// Each retry follows a delete by another process that made progress; a file system whose inode
// numbers change between calls would loop for ever without a bound.
constexpr int maxLockAttempts = 64;

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

void createPrivateDirectories(const std::filesystem::path& directory) {
    std::error_code error;
    if (createPrivateDirectories(directory, error))
        return;
    // Name the file that stands in the way rather than the folder it keeps from being made.
    std::filesystem::path failed = directory;
    struct stat info {};
    for (auto at = directory; !at.empty() && at != at.parent_path(); at = at.parent_path())
        if (::stat(at.c_str(), &info) == 0) {
            if (!S_ISDIR(info.st_mode))
                failed = at;
            break;
        }
    throw std::filesystem::filesystem_error("cannot create directory", failed, error);
}

bool createPrivateDirectories(const std::filesystem::path& directory,
                              std::error_code& error) noexcept {
    error.clear();
    struct stat info {};
    if (directory.empty() || (::stat(directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode)))
        return true;
    const std::filesystem::path parent = directory.parent_path();
    if (parent != directory && !createPrivateDirectories(parent, error))
        return false;
    if (::mkdir(directory.c_str(), 0700) != 0) {
        // Another writer may have made it meanwhile; a file of that name is no folder.
        const int failure = errno;
        if (failure != EEXIST || ::stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
            error.assign(failure == EEXIST ? ENOTDIR : failure, std::generic_category());
            return false;
        }
    }
    return true;
}

bool writeAll(int fd, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::optional<std::string> readRegularFile(const std::filesystem::path& path, struct stat* info) {
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!fd.isOpen() || ::fstat(fd.get(), &status) != 0)
        return std::nullopt;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return std::nullopt;
    }
    if (info)
        *info = status;
    // Asking for one byte more than fstat's size usually ends in a short read, which proves the
    // end of the file without a second call.
    std::string bytes;
    std::size_t wanted = static_cast<std::size_t>(status.st_size) + 1;
    for (;;) {
        const std::size_t used = bytes.size();
        bytes.resize(used + wanted);
        const ssize_t n = ::read(fd.get(), bytes.data() + used, wanted);
        if (n < 0 && errno == EINTR) {
            bytes.resize(used);
            continue;
        }
        if (n < 0)
            return std::nullopt;
        bytes.resize(used + static_cast<std::size_t>(n));
        if (static_cast<std::size_t>(n) < wanted)
            return bytes;
        wanted = std::max<std::size_t>(wanted, 8192);
    }
}

FileDescriptor openLocked(const std::filesystem::path& path, int flags, bool wait) {
    for (int attempt = 0; attempt < maxLockAttempts; ++attempt) {
        FileDescriptor fd(::open(path.c_str(), flags | O_CLOEXEC, 0600));
        if (!fd.isOpen())
            return fd;
        int result;
        do
            result = ::flock(fd.get(), wait ? LOCK_EX : LOCK_EX | LOCK_NB);
        while (result != 0 && errno == EINTR);
        if (result != 0)
            return FileDescriptor();
        struct stat locked {
        }, current{};
        if (::fstat(fd.get(), &locked) != 0)
            return FileDescriptor();
        if (::stat(path.c_str(), &current) == 0 && sameFile(locked, current))
            return fd;
        // Deleted (or replaced) while this process waited: closing drops the stale lock.
    }
    errno = EAGAIN;
    return FileDescriptor();
}

} // namespace ostrelvan::FileSystem
