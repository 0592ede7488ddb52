#include "hook/HookLog.h"

#include "base/FileSystem.h"
#include "core/DataPaths.h"
#include "core/HookLogLine.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace ostrelvan::HookLog {

namespace {

// The log, locked: a helper rotates only the file it holds the lock on, and one that waited while
// another rotated finds the fresh log at the path and takes that instead.
FileDescriptor openLog(const std::filesystem::path& log) {
    return FileSystem::openLocked(log, O_WRONLY | O_APPEND | O_CREAT, true);
}

} // namespace

void append(const std::filesystem::path& root, TimePoint now, std::string_view message) noexcept {
    try {
        std::error_code ignored;
        FileSystem::createPrivateDirectories(root, ignored);
        const std::filesystem::path log = DataPaths::hookLog(root);
        const std::string line = HookLogLine::format(now, message);

        FileDescriptor fd = openLog(log);
        if (!fd.isOpen())
            return;
        struct stat info {};
        if (::fstat(fd.get(), &info) == 0 && info.st_size >= rotateAt) {
            std::filesystem::path old = log;
            old += ".1";
            // Renamed or not, the line is written: to a fresh log, or to this one.
            if (::rename(log.c_str(), old.c_str()) == 0)
                if (FileDescriptor fresh = openLog(log); fresh.isOpen())
                    fd = std::move(fresh);
        }
        // One write per line: O_APPEND keeps concurrent helpers' lines whole.
        FileSystem::writeAll(fd.get(), line);
    } catch (...) {
    }
}

} // namespace ostrelvan::HookLog
