#include "base/TemporaryFile.h"

#include "base/FileDescriptor.h"
#include "base/FileSystem.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ostrelvan {

TemporaryFile::TemporaryFile(std::filesystem::path path, std::string_view bytes, mode_t mode,
                             bool durable)
    : path_(std::move(path)), durable_(durable) {
    FileDescriptor file(
        ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isOpen())
        throw std::system_error(errno, std::generic_category(), "cannot write " + path_.string());
    // The open's mode is cut by the umask; the wanted one is set whatever the umask says.
    const bool written = FileSystem::writeAll(file.get(), bytes) &&
                         ::fchmod(file.get(), mode) == 0 &&
                         (!durable || ::fsync(file.get()) == 0) && ::close(file.release()) == 0;
    if (!written) {
        const int error = errno;
        ::unlink(path_.c_str());
        throw std::system_error(error, std::generic_category(), "cannot write " + path_.string());
    }
}

TemporaryFile::~TemporaryFile() {
    if (!moved_)
        ::unlink(path_.c_str());
}

bool TemporaryFile::moveTo(const std::filesystem::path& target) {
    if (!FileSystem::replace(path_, target))
        return false;
    moved_ = true;
    if (durable_) {
        // The rename itself lasts only once the folder is flushed; best effort.
        const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
        const FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (directory.isOpen())
            ::fsync(directory.get());
    }
    return true;
}

} // namespace ostrelvan
