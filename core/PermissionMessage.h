#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostrelvan {

// A line on the permission socket that is too long, not JSON, or not one of the messages below.
class PermissionMessageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One line on the permission socket between the hook helper and the desktop app
// (<data root>/permission.sock). The helper sends one request; the app answers accepted or
// declined at once, and later a decision or a withdrawal. Each line is a JSON object ending in
// '\n', at most maxLine bytes with it.
struct PermissionMessage {
    enum class Type { request, accepted, declined, decision, withdraw };
    enum class Behavior { allow, allowWithRule, deny };

    static constexpr std::size_t maxLine = 16384;
    static constexpr std::size_t maxSummary = 1000;
    static constexpr std::size_t maxSuggestions = 8192;
    static constexpr int version = 1;

    Type type = Type::request;
    // 32 lowercase hex digits, chosen at random by the helper; every answer repeats it.
    std::string requestId;

    // A request's fields.
    std::string sessionId;
    std::optional<std::string> promptId;
    std::string cwd;
    std::string toolName;
    // What the session's row shows for the pending approval, at most maxSummary bytes.
    std::string summary;
    // Claude Code's permission_suggestions, as given, or [] when too large to pass on.
    nlohmann::ordered_json suggestions = nlohmann::ordered_json::array();

    // A decision's choice.
    Behavior behavior = Behavior::allow;

    // A request with its summary shortened and its suggestions bounded as the wire requires.
    static PermissionMessage request(std::string requestId, std::string sessionId,
                                     std::optional<std::string> promptId, std::string cwd,
                                     std::string toolName, std::string_view summary,
                                     const nlohmann::ordered_json& suggestions);
    static PermissionMessage answer(Type type, std::string requestId);
    static PermissionMessage decision(std::string requestId, Behavior behavior);

    // The line with its '\n'. A request whose line would be too long is sent without its
    // suggestions; when even that is too long it throws PermissionMessageError.
    std::string encode() const;
    // One line, with or without its '\n'. Unknown keys are ignored. Throws PermissionMessageError.
    static PermissionMessage decode(std::string_view line);

    bool operator==(const PermissionMessage&) const = default;
};

namespace PermissionWire {

// A fresh request id: 32 lowercase hex digits from the system's random source.
std::string newRequestId();
bool isRequestId(std::string_view text);

// The longest prefix of `text` of at most `limit` bytes that ends on a UTF-8 character boundary.
std::string_view shortened(std::string_view text, std::size_t limit);

// What the hook helper prints for the user's decision: Claude Code's PermissionRequest output.
// An allow with a rule carries the request's suggestions as the permissions to add.
std::string hookOutput(PermissionMessage::Behavior behavior,
                       const nlohmann::ordered_json& suggestions);

inline constexpr std::string_view denyMessage = "Denied from Ostrelvan";

// Splits a byte stream into lines. A line longer than PermissionMessage::maxLine is skipped up to
// its end and reported once, so that a peer cannot make the reader hold more than that.
class LineReader {
public:
    struct Line {
        std::string text; // without its '\n'
        bool tooLong = false;
    };
    void feed(std::string_view bytes);
    // The next whole line, if one has arrived.
    std::optional<Line> next();

private:
    std::string pending_;
    bool skipping_ = false;
};

} // namespace PermissionWire
} // namespace ostrelvan
