#include "FileDecodeCache.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ostrelvan {

namespace {

std::int64_t nanoseconds(const struct timespec& time) {
    return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

FileSignature signatureOf(const struct stat& info) {
#ifdef __APPLE__
    const auto& modified = info.st_mtimespec;
    const auto& changed = info.st_ctimespec;
#else
    const auto& modified = info.st_mtim;
    const auto& changed = info.st_ctim;
#endif
    return {std::uint64_t(info.st_dev), std::uint64_t(info.st_ino), std::int64_t(info.st_size),
            nanoseconds(modified), nanoseconds(changed)};
}

} // namespace

std::optional<FileSignature> FileSignature::of(const std::filesystem::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    return signatureOf(info);
}

bool FileSignature::isRecent(TimePoint now) const {
    const std::int64_t settled =
        std::chrono::duration_cast<std::chrono::nanoseconds>((now - settleTime).time_since_epoch())
            .count();
    return modifiedNs > settled || changedNs > settled;
}

std::optional<SignedBytes> readSigned(const std::filesystem::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return std::nullopt;
    }
    SignedBytes file{{}, signatureOf(info)};
    // One read of the size fstat gave plus a byte usually reaches the end: a short read then
    // proves it without a second call.
    std::size_t capacity = std::size_t(info.st_size) + 1;
    for (;;) {
        const std::size_t used = file.bytes.size();
        file.bytes.resize(used + capacity);
        const ssize_t n = ::read(fd, file.bytes.data() + used, capacity);
        if (n < 0 && errno == EINTR) {
            file.bytes.resize(used);
            continue;
        }
        if (n < 0) {
            ::close(fd);
            return std::nullopt;
        }
        file.bytes.resize(used + std::size_t(n));
        if (n == 0 || std::size_t(n) < capacity) {
            break;
        }
        capacity = std::max<std::size_t>(capacity, 8192);
    }
    ::close(fd);
    return file;
}

} // namespace ostrelvan
