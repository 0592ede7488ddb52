#include "app/discovery/FileDecodeCache.h"

#include "base/FileSystem.h"

#include <sys/stat.h>

namespace ostrelvan {

namespace {

std::int64_t nanoseconds(const struct timespec& time) {
    return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

FileSignature signatureOf(const struct stat& info) {
    return {std::uint64_t(info.st_dev), std::uint64_t(info.st_ino), std::int64_t(info.st_size),
            nanoseconds(FileSystem::modificationTime(info)),
            nanoseconds(FileSystem::changeTime(info))};
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
    struct stat info {};
    auto bytes = FileSystem::readRegularFile(path, &info);
    if (!bytes) {
        return std::nullopt;
    }
    return SignedBytes{std::move(*bytes), signatureOf(info)};
}

} // namespace ostrelvan
