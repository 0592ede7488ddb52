#include "app/discovery/TranscriptReader.h"

#include "app/discovery/Transcript.h"
#include "base/FileDescriptor.h"
#include "base/FileSystem.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ostrelvan {

namespace {

constexpr std::chrono::seconds searchRetry{60};
constexpr std::chrono::seconds rereadInterval{10};

bool isFile(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

struct Attributes {
    std::int64_t size = 0;
    TimePoint modified;
};

std::optional<Attributes> attributes(const std::filesystem::path& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        return std::nullopt;
    }
    const struct timespec mtime = FileSystem::modificationTime(st);
    return Attributes{static_cast<std::int64_t>(st.st_size),
                      TimePoint(std::chrono::seconds(mtime.tv_sec)) +
                          std::chrono::milliseconds(mtime.tv_nsec / 1'000'000)};
}

} // namespace

TranscriptReader::TranscriptReader(std::filesystem::path config, Clock clock)
    : config_(std::move(config)), clock_(std::move(clock)) {}

TranscriptInfo TranscriptReader::info(const SessionState& state) {
    const TimePoint now = clock_();
    Entry& entry = entries_[state.sessionId];
    entry.pass = pass_;

    if (!entry.url) {
        if (now < entry.readAt + searchRetry) {
            return entry.info;
        }
        entry.readAt = now;
        entry.url = locate(state);
        if (!entry.url) {
            return entry.info;
        }
    }

    const auto file = attributes(*entry.url);
    if (!file) {
        entry = Entry{};
        entry.pass = pass_;
        entry.readAt = now; // the next search waits a minute
        return entry.info;
    }
    if (file->size == entry.size && file->modified == entry.modified) {
        return entry.info;
    }
    if (now >= entry.readAt + rereadInterval || !entry.info.exists) {
        entry.size = file->size;
        entry.modified = file->modified;
        entry.readAt = now;
        auto found = title(*entry.url, file->size);
        entry.info = TranscriptInfo{true, found ? std::move(found) : entry.info.title};
    }
    return entry.info;
}

std::optional<std::filesystem::path> TranscriptReader::locate(const SessionState& state) const {
    const auto candidate = Transcript::url(config_, state.folder(), state.sessionId);
    if (isFile(candidate)) {
        return candidate;
    }
    // Claude Code shortens long folder names with a hash, and a session that changed directory
    // keeps its first folder: scan them all.
    const std::string fileName = state.sessionId + ".jsonl";
    std::error_code error;
    std::filesystem::directory_iterator it(config_ / "projects", error);
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
        auto path = it->path() / fileName;
        if (isFile(path)) {
            return path;
        }
    }
    return std::nullopt;
}

std::int64_t TranscriptReader::tailOffset(std::int64_t size) {
    return std::max<std::int64_t>(0, size - static_cast<std::int64_t>(Transcript::tailBytes));
}

std::optional<std::string> TranscriptReader::title(const std::filesystem::path& url,
                                                   std::int64_t size) {
    const FileDescriptor file(::open(url.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.get() < 0 || ::lseek(file.get(), tailOffset(size), SEEK_SET) < 0) {
        return std::nullopt;
    }
    std::string tail;
    tail.reserve(Transcript::tailBytes);
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(file.get(), buffer, sizeof buffer);
        if (n > 0) {
            tail.append(buffer, static_cast<std::size_t>(n));
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
    return Transcript::title(tail);
}

void TranscriptReader::prune() {
    std::erase_if(entries_, [this](const auto& entry) { return entry.second.pass != pass_; });
    ++pass_;
}

} // namespace ostrelvan
