#include "AtomicFile.h"

#include "FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ostrelvan::AtomicFile {

namespace {

[[noreturn]] void fail(int error, const std::string& what, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), what + " " + path.string());
}

void writeAll(int fd, std::string_view bytes, const std::filesystem::path& path) {
    while (!bytes.empty()) {
        ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            fail(errno, "cannot write", path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

std::string read(const std::filesystem::path& path) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0)
        fail(errno, "cannot read", path);
    std::string content;
    char buffer[65536];
    for (;;) {
        ssize_t got = ::read(file.get(), buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            fail(errno, "cannot read", path);
        }
        if (got == 0)
            return content;
        content.append(buffer, static_cast<std::size_t>(got));
    }
}

void replace(const std::filesystem::path& target, std::string_view bytes, mode_t mode) {
    const std::filesystem::path directory =
        target.has_parent_path() ? target.parent_path() : std::filesystem::path(".");
    std::string pattern = (directory / ("." + target.filename().string() + ".ostrelvan-XXXXXX"));
    FileDescriptor file(::mkstemp(pattern.data()));
    if (file.get() < 0)
        fail(errno, "cannot write", target);
    const std::filesystem::path temporary = pattern;
    try {
        writeAll(file.get(), bytes, temporary);
        if (::fchmod(file.get(), mode) != 0)
            fail(errno, "cannot write", target);
        if (::fsync(file.get()) != 0)
            fail(errno, "cannot write", target);
        if (::close(file.release()) != 0)
            fail(errno, "cannot write", target);
        if (::rename(temporary.c_str(), target.c_str()) != 0)
            fail(errno, "cannot write", target);
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    // The rename itself is durable only once the directory is flushed; best effort.
    FileDescriptor folder(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() >= 0)
        ::fsync(folder.get());
}

mode_t defaultFileMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace ostrelvan::AtomicFile
