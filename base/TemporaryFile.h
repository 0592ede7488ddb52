#pragma once

#include <filesystem>
#include <string_view>
#include <sys/types.h>

namespace ostrelvan {

// A file written beside its target under another name, then put in the target's place in one
// step, so that readers see the old file or the new one, never a mix. Removed again unless it was
// put in place.
class TemporaryFile {
public:
    // Creates (or empties) `path`, gives it exactly `mode` and writes `bytes`; when `durable`,
    // flushes them to disk, so that a power cut cannot leave an empty file in the target's place.
    // Throws std::system_error naming `path`; nothing is left behind then.
    TemporaryFile(std::filesystem::path path, std::string_view bytes, mode_t mode, bool durable);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    // Replaces `target` with this file. False with errno set on failure; the temporary is then
    // removed when this object goes.
    bool moveTo(const std::filesystem::path& target);

private:
    std::filesystem::path path_;
    bool durable_;
    bool moved_ = false;
};

} // namespace ostrelvan
