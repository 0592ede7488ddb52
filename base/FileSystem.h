#pragma once

#include "base/FileDescriptor.h"

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

// The file utilities that the hook helper and the app share. Plain POSIX calls: the helper runs on
// every tool call, and the std::filesystem equivalents cost it several calls each.
namespace ostrelvan::FileSystem {

// Creates `directory` and any missing parent, each new one 0700: the data folder holds the
// commands the user runs. An existing directory is fine. Throws std::filesystem::filesystem_error.
void createPrivateDirectories(const std::filesystem::path& directory);
// The same without throwing; false with `error` set.
bool createPrivateDirectories(const std::filesystem::path& directory,
                              std::error_code& error) noexcept;

// Writes all of `bytes`, through short writes and interruptions. False with errno set.
bool writeAll(int fd, std::string_view bytes) noexcept;

// A regular file's whole content, or none with errno set. Opened without blocking, so a FIFO that
// happens to carry a watched name is refused (EINVAL) instead of hanging a reload; `info`, when
// given, receives the file's status as it was when reading began.
std::optional<std::string> readRegularFile(const std::filesystem::path& path,
                                           struct stat* info = nullptr);

// Opens the file at `path` with `flags` (created 0600 when O_CREAT is among them) and takes an
// exclusive flock on it, waiting for it when `wait` is true and failing with EWOULDBLOCK
// otherwise. Whoever deletes a lock file deletes it while holding the lock, so a process that was
// waiting on it then holds a lock nobody else will ask for: the lock is taken again until the file
// locked is the one at `path`. An invalid descriptor with errno set on failure.
FileDescriptor openLocked(const std::filesystem::path& path, int flags, bool wait);

// Puts `temporary` in the place of `target` in one step, so a reader sees the old file or the new
// one. False with errno set.
bool replace(const std::filesystem::path& temporary, const std::filesystem::path& target) noexcept;

// The times that the platform's struct stat keeps under different names.
struct timespec modificationTime(const struct stat& info);
struct timespec changeTime(const struct stat& info);

// The user's folder for application data: ~/Library/Application Support on macOS;
// $XDG_DATA_HOME when it is an absolute path, else ~/.local/share, elsewhere.
std::filesystem::path userDataFolder(const std::filesystem::path& home,
                                     std::string_view xdgDataHome);

} // namespace ostrelvan::FileSystem
