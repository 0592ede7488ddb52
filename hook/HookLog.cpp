#include "HookLog.h"

#include "SessionCoding.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ostrelvan::HookLog {

namespace {

void makeRoot(const std::filesystem::path& root) {
    struct stat info {};
    if (root.empty() || ::stat(root.c_str(), &info) == 0)
        return;
    if (root.has_parent_path() && root.parent_path() != root)
        makeRoot(root.parent_path());
    ::mkdir(root.c_str(), 0700);
}

} // namespace

void append(const std::filesystem::path& root, TimePoint now, std::string_view message) noexcept {
    try {
        makeRoot(root);
        const std::filesystem::path log = root / "hook.log";
        std::string line = SessionCoding::formatDate(now);
        line += ' ';
        for (char c : message.substr(0, maxMessage))
            line += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        if (message.size() > maxMessage)
            line += "...";
        line += '\n';

        struct stat info {};
        if (::stat(log.c_str(), &info) == 0 && info.st_size >= rotateAt) {
            std::filesystem::path old = log;
            old += ".1";
            ::rename(log.c_str(), old.c_str());
        }
        int fd = ::open(log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0)
            return;
        // One write per line: O_APPEND keeps concurrent helpers' lines whole.
        while (::write(fd, line.data(), line.size()) < 0 && errno == EINTR) {
        }
        ::close(fd);
    } catch (...) {
    }
}

} // namespace ostrelvan::HookLog
