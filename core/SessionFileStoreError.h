#pragma once

#include <stdexcept>
#include <string>

namespace ostrelvan {

// The failures of SessionFileStore::apply that are its own (file-system errors pass through as
// std::filesystem::filesystem_error or std::system_error).
class SessionFileStoreError : public std::runtime_error {
public:
    enum class Kind { invalidSessionId, lockFailed };

    static SessionFileStoreError invalidSessionId(std::string sessionId);
    static SessionFileStoreError lockFailed(int errorNumber);

    Kind kind() const { return kind_; }
    const std::string& sessionId() const { return sessionId_; }
    int errorNumber() const { return errorNumber_; }

    bool operator==(const SessionFileStoreError& other) const {
        return kind_ == other.kind_ && sessionId_ == other.sessionId_ &&
               errorNumber_ == other.errorNumber_;
    }

private:
    SessionFileStoreError(Kind kind, std::string sessionId, int errorNumber,
                          const std::string& message);

    Kind kind_;
    std::string sessionId_;
    int errorNumber_ = 0;
};

} // namespace ostrelvan
