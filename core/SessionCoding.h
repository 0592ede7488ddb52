#pragma once

#include "core/SessionState.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostrelvan {

// A session file that cannot be decoded; the message says why.
class SessionCodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The one JSON form of session files: pretty-printed, sorted keys, plain slashes, ISO 8601 UTC
// dates with exactly three fractional digits written, with or without a fraction read.
namespace SessionCoding {

std::string encode(const SessionState& state);
// Throws SessionCodingError.
SessionState decode(std::string_view bytes);

std::string formatDate(TimePoint date);
std::optional<TimePoint> parseDate(std::string_view text);

} // namespace SessionCoding
} // namespace ostrelvan
