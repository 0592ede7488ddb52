#pragma once

#include <optional>
#include <string>

namespace ostrelvan {

struct TranscriptInfo {
    bool exists = false;
    std::optional<std::string> title;

    bool operator==(const TranscriptInfo&) const = default;
};

} // namespace ostrelvan
