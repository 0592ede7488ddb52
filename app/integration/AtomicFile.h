#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <sys/types.h>

// Whole-file reads and crash-safe replacement for files that other programs also read.
namespace ostrelvan::AtomicFile {

// The whole content; throws std::system_error naming the path when the file cannot be read.
std::string read(const std::filesystem::path& path);

// Writes `bytes` to a temporary file beside `target`, flushes it to disk, gives it `mode` and
// renames it over `target`, so readers see the old file or the new one, never a mix. Throws
// std::system_error naming the path; no temporary is left behind on failure.
void replace(const std::filesystem::path& target, std::string_view bytes, mode_t mode);

// The mode a newly created file gets from this process: 0666 less the umask.
mode_t defaultFileMode();

} // namespace ostrelvan::AtomicFile
