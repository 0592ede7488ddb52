#pragma once

#include "core/Time.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace ostrelvan {

// What identifies one version of a file without reading it.
struct FileSignature {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modifiedNs = 0;
    std::int64_t changedNs = 0;

    // A file changed this recently may change again within the file system's timestamp
    // granularity and keep its signature.
    static constexpr std::chrono::seconds settleTime{2};

    bool operator==(const FileSignature&) const = default;

    // None when the path is not a regular file.
    static std::optional<FileSignature> of(const std::filesystem::path& path);
    // Modified or changed within settleTime of `now`, or after it.
    bool isRecent(TimePoint now) const;
};

// A regular file's bytes with the signature taken before they were read.
struct SignedBytes {
    std::string bytes;
    FileSignature signature;
};
// Non-blocking, so a FIFO is refused rather than waited on.
std::optional<SignedBytes> readSigned(const std::filesystem::path& path);

// The decoded value of each file, decoded again only when the file's signature changed. Files
// changed in the last few seconds and failed decodes are never kept.
template <class T> class FileDecodeCache {
public:
    using Decode = std::function<std::optional<T>(std::string_view bytes)>;
    using Clock = std::function<TimePoint()>;

    explicit FileDecodeCache(Decode decode, Clock clock = wallClockNow)
        : decode_(std::move(decode)), clock_(std::move(clock)) {}

    std::optional<T> read(const std::filesystem::path& path) {
        const auto found = entries_.find(path.native());
        if (found != entries_.end()) {
            if (FileSignature::of(path) == found->second.signature) {
                found->second.pass = pass_;
                return found->second.value;
            }
            entries_.erase(found);
        }
        auto file = readSigned(path);
        if (!file) {
            return std::nullopt;
        }
        auto value = decode_(file->bytes);
        if (value && !file->signature.isRecent(clock_())) {
            entries_.insert_or_assign(path.native(), Entry{file->signature, *value, pass_});
        }
        return value;
    }

    // Forgets the files not read since the previous call: those that disappeared.
    void prune() {
        std::erase_if(entries_, [this](const auto& entry) { return entry.second.pass != pass_; });
        ++pass_;
    }

    std::size_t size() const { return entries_.size(); }

private:
    struct Entry {
        FileSignature signature;
        T value;
        std::uint64_t pass = 0;
    };

    Decode decode_;
    Clock clock_;
    std::unordered_map<std::string, Entry> entries_;
    std::uint64_t pass_ = 0;
};

} // namespace ostrelvan
