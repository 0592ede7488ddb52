#include "core/SessionFileStoreError.h"

#include <cstring>

namespace ostrelvan {

SessionFileStoreError::SessionFileStoreError(Kind kind, std::string sessionId, int errorNumber,
                                             const std::string& message)
    : std::runtime_error(message), kind_(kind), sessionId_(std::move(sessionId)),
      errorNumber_(errorNumber) {}

SessionFileStoreError SessionFileStoreError::invalidSessionId(std::string sessionId) {
    // The id may be anything a payload carried: keep the message short and printable.
    std::string shown;
    for (char c : sessionId.substr(0, 160))
        shown += (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) ? '?' : c;
    if (sessionId.size() > 160)
        shown += "...";
    return {Kind::invalidSessionId, std::move(sessionId), 0,
            "Invalid session id \"" + shown + "\""};
}

SessionFileStoreError SessionFileStoreError::lockFailed(int errorNumber) {
    return {Kind::lockFailed,
            {},
            errorNumber,
            std::string("Cannot lock the session: ") + std::strerror(errorNumber)};
}

} // namespace ostrelvan
