#include "RegularFile.h"

#include "FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace ostrelvan {

std::optional<std::string> readRegularFile(const std::filesystem::path& path, struct stat* info) {
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (fd.get() < 0 || ::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
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

} // namespace ostrelvan
