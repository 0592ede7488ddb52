#include "SessionFileStore.h"

#include "RegularFile.h"
#include "SessionCoding.h"
#include "SessionFileStoreError.h"
#include "SessionReducer.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ostrelvan {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t maxSessionIdLength = 128;

[[noreturn]] void throwErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            throwErrno("write");
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

// Creates the folder and any missing parents, each new one 0700.
void makeDirectories(const fs::path& directory) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return;
    if (directory.has_parent_path() && directory.parent_path() != directory)
        makeDirectories(directory.parent_path());
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        throw fs::filesystem_error("Cannot create folder", directory,
                                   std::error_code(errno, std::generic_category()));
}

// Puts `temporary` in the place of `target` atomically. On Linux an exchange, then the unlink of
// the old file: ext4 starts writing a file's data back when it is renamed over an existing one,
// which costs a hook process about a millisecond, and an exchange does not. Returns false with
// errno set on failure.
bool replace(const fs::path& temporary, const fs::path& target) {
#ifdef __linux__
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) {
        ::unlink(temporary.c_str());
        return true;
    }
    // No target yet, or a file system without exchange: the plain rename.
#endif
    return ::rename(temporary.c_str(), target.c_str()) == 0;
}

class LockFile {
public:
    explicit LockFile(const fs::path& path) {
        fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd_ < 0)
            throw SessionFileStoreError::lockFailed(errno);
        int result;
        do
            result = ::flock(fd_, LOCK_EX);
        while (result != 0 && errno == EINTR);
        if (result != 0) {
            int error = errno;
            ::close(fd_);
            throw SessionFileStoreError::lockFailed(error);
        }
    }
    ~LockFile() {
        ::flock(fd_, LOCK_UN);
        ::close(fd_);
    }
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

private:
    int fd_ = -1;
};

fs::path lockURL(const fs::path& directory, std::string_view sessionId) {
    fs::path url = directory;
    url /= std::string(sessionId) + ".lock";
    return url;
}

} // namespace

bool SessionFileStore::isValidSessionId(std::string_view text) {
    if (text.empty() || text.size() > maxSessionIdLength)
        return false;
    for (char c : text) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '-' || c == '_';
        if (!ok)
            return false;
    }
    return true;
}

fs::path SessionFileStore::fileURL(std::string_view sessionId) const {
    fs::path url = directory_;
    url /= std::string(sessionId) + ".json";
    return url;
}

ReduceOutcome SessionFileStore::apply(const HookEvent& event, const EventContext& context) const {
    if (!isValidSessionId(event.sessionId))
        throw SessionFileStoreError::invalidSessionId(event.sessionId);
    makeDirectories(directory_);
    const fs::path url = fileURL(event.sessionId);
    const fs::path lock = lockURL(directory_, event.sessionId);
    LockFile held(lock);
    ReduceOutcome outcome = SessionReducer::reduce(read(url), event, context);
    switch (outcome.kind) {
    case ReduceOutcome::Kind::write:
        write(*outcome.state, url);
        break;
    case ReduceOutcome::Kind::remove:
        ::unlink(url.c_str());
        ::unlink(lock.c_str());
        break;
    case ReduceOutcome::Kind::ignore:
        break;
    }
    return outcome;
}

std::optional<SessionState> SessionFileStore::read(const fs::path& url) {
    auto bytes = readRegularFile(url);
    if (!bytes)
        return std::nullopt;
    return decode(*bytes);
}

std::optional<SessionState> SessionFileStore::decode(std::string_view bytes) {
    try {
        return SessionCoding::decode(bytes);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void SessionFileStore::write(const SessionState& state, const fs::path& url) {
    const std::string bytes = SessionCoding::encode(state);
    // The temporary name does not end in ".json", so loadAll never picks it up.
    fs::path temporary = url;
    temporary += ".tmp" + std::to_string(::getpid());
    int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        throwErrno("Cannot create the temporary session file");
    try {
        writeAll(fd, bytes);
    } catch (...) {
        ::close(fd);
        ::unlink(temporary.c_str());
        throw;
    }
    if (::close(fd) != 0 || !replace(temporary, url)) {
        int error = errno;
        ::unlink(temporary.c_str());
        throw std::system_error(error, std::generic_category(), "Cannot replace the session file");
    }
}

std::vector<SessionState> SessionFileStore::loadAll() const {
    return loadAll(read);
}

std::vector<SessionState> SessionFileStore::loadAll(const StateReader& read) const {
    std::vector<SessionState> states;
    std::error_code error;
    fs::directory_iterator entries(directory_, error);
    if (error)
        return states;
    for (auto it = entries; it != fs::directory_iterator(); it.increment(error)) {
        if (error)
            break;
        const fs::path& path = it->path();
        if (path.extension() != ".json")
            continue;
        if (auto state = read(path))
            states.push_back(std::move(*state));
    }
    return states;
}

void SessionFileStore::removeLeftovers(TimePoint now) const {
    std::error_code error;
    fs::directory_iterator entries(directory_, error);
    if (error)
        return;
    const auto cutoff =
        std::chrono::duration_cast<std::chrono::seconds>((now - leftoverAge).time_since_epoch())
            .count();
    for (auto it = entries; it != fs::directory_iterator(); it.increment(error)) {
        if (error)
            break;
        // <id>.json.tmp<pid>, as write names them.
        constexpr std::string_view marker = ".json.tmp";
        const std::string name = it->path().filename().string();
        const std::size_t mark = name.rfind(marker);
        const std::size_t digits = mark + marker.size();
        if (mark == std::string::npos || digits == name.size() ||
            name.find_first_not_of("0123456789", digits) != std::string::npos)
            continue;
        struct stat info {};
        if (::lstat(it->path().c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            info.st_mtime < cutoff)
            ::unlink(it->path().c_str());
    }
}

void SessionFileStore::remove(std::string_view sessionId) const {
    if (!isValidSessionId(sessionId))
        return;
    ::unlink(fileURL(sessionId).c_str());
    ::unlink(lockURL(directory_, sessionId).c_str());
}

} // namespace ostrelvan
