#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace ostrelvan {

// A regular file's whole content, or none. Opened without blocking, so a FIFO that happens to
// carry a watched name is refused instead of hanging a reload; `info`, when given, receives the
// file's status as it was when reading began.
std::optional<std::string> readRegularFile(const std::filesystem::path& path,
                                           struct stat* info = nullptr);

} // namespace ostrelvan
