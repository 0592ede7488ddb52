#include "core/SessionFileStore.h"

#include "base/FileSystem.h"
#include "base/TemporaryFile.h"
#include "core/SessionCoding.h"
#include "core/SessionFileStoreError.h"
#include "core/SessionReducer.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ostrelvan {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t maxSessionIdLength = 128;

fs::path lockURL(const fs::path& directory, std::string_view sessionId) {
    fs::path url = directory;
    url /= std::string(sessionId) + ".lock";
    return url;
}

// The session's lock, taken as openLocked describes; closing the descriptor releases it.
FileDescriptor lock(const fs::path& url, bool wait) {
    return FileSystem::openLocked(url, O_RDWR | O_CREAT, wait);
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
    return apply(event, context, SessionReducer::reduce);
}

ReduceOutcome SessionFileStore::apply(const HookEvent& event, const EventContext& context,
                                      const Reduce& reduce) const {
    if (!isValidSessionId(event.sessionId))
        throw SessionFileStoreError::invalidSessionId(event.sessionId);
    FileSystem::createPrivateDirectories(directory_);
    const fs::path url = fileURL(event.sessionId);
    const fs::path lockFile = lockURL(directory_, event.sessionId);
    const FileDescriptor held = lock(lockFile, true);
    if (!held.isOpen())
        throw SessionFileStoreError::lockFailed(errno);
    const std::optional<SessionState> current = read(url);
    ReduceOutcome outcome = reduce(current, event, context);
    switch (outcome.kind) {
    case ReduceOutcome::Kind::write:
        write(*outcome.state, url);
        break;
    case ReduceOutcome::Kind::remove:
        ::unlink(url.c_str());
        ::unlink(lockFile.c_str());
        break;
    case ReduceOutcome::Kind::ignore:
        // The lock lives as long as the session file; this event may have just created it.
        if (!current && ::access(url.c_str(), F_OK) != 0)
            ::unlink(lockFile.c_str());
        break;
    }
    return outcome;
}

std::optional<SessionState> SessionFileStore::read(const fs::path& url) {
    auto bytes = FileSystem::readRegularFile(url);
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
    // The temporary name does not end in ".json", so loadAll never picks it up.
    fs::path temporary = url;
    temporary += ".tmp" + std::to_string(::getpid());
    // Session files describe live processes and mean nothing after a power cut: no flush to disk.
    TemporaryFile file(temporary, SessionCoding::encode(state), 0600, false);
    if (!file.moveTo(url))
        throw std::system_error(errno, std::generic_category(), "Cannot replace the session file");
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

bool SessionFileStore::removeIfEnded(std::string_view sessionId, const IsEnded& isEnded) const {
    if (!isValidSessionId(sessionId))
        return false;
    const fs::path url = fileURL(sessionId);
    const fs::path lockFile = lockURL(directory_, sessionId);
    const FileDescriptor held = lock(lockFile, false);
    if (!held.isOpen())
        return false;
    // A hook may have written between the caller's read and this lock.
    const auto state = read(url);
    const bool gone = !state && ::access(url.c_str(), F_OK) != 0;
    if (state && !isEnded(*state))
        return false;
    if (state)
        ::unlink(url.c_str());
    if (state || gone)
        ::unlink(lockFile.c_str());
    return state.has_value();
}

} // namespace ostrelvan
