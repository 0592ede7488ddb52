#include "core/PermissionMessage.h"

#include <array>
#include <random>

namespace ostrelvan {

using nlohmann::ordered_json;

namespace {

constexpr std::array typeNames{"request", "accepted", "declined", "decision", "withdraw"};

const char* typeName(PermissionMessage::Type type) {
    return typeNames[static_cast<std::size_t>(type)];
}

// Serialised as the wire carries it: invalid UTF-8 is replaced rather than thrown on, so that a
// path with a stray byte still reaches the app.
std::string dump(const ordered_json& value) {
    return value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

const std::string& stringField(const ordered_json& object, const char* key) {
    auto found = object.find(key);
    if (found == object.end() || !found->is_string())
        throw PermissionMessageError(std::string("Key \"") + key + "\" is missing or not a string");
    return found->get_ref<const std::string&>();
}

} // namespace

PermissionMessage PermissionMessage::request(std::string requestId, std::string sessionId,
                                             std::optional<std::string> promptId, std::string cwd,
                                             std::string toolName, std::string_view summary,
                                             const ordered_json& suggestions) {
    PermissionMessage message;
    message.type = Type::request;
    message.requestId = std::move(requestId);
    message.sessionId = std::move(sessionId);
    message.promptId = std::move(promptId);
    message.cwd = std::move(cwd);
    message.toolName = std::move(toolName);
    message.summary = std::string(PermissionWire::shortened(summary, maxSummary));
    if (suggestions.is_array() && dump(suggestions).size() <= maxSuggestions)
        message.suggestions = suggestions;
    return message;
}

PermissionMessage PermissionMessage::answer(Type type, std::string requestId) {
    PermissionMessage message;
    message.type = type;
    message.requestId = std::move(requestId);
    return message;
}

PermissionMessage PermissionMessage::decision(std::string requestId, Behavior behavior) {
    PermissionMessage message = answer(Type::decision, std::move(requestId));
    message.behavior = behavior;
    return message;
}

std::string PermissionMessage::encode() const {
    ordered_json object;
    object["type"] = typeName(type);
    if (type == Type::request)
        object["version"] = version;
    object["requestId"] = requestId;
    if (type == Type::request) {
        object["sessionId"] = sessionId;
        object["promptId"] = promptId ? ordered_json(*promptId) : ordered_json(nullptr);
        object["cwd"] = cwd;
        object["toolName"] = toolName;
        object["summary"] = summary;
        object["suggestions"] = suggestions;
    } else if (type == Type::decision) {
        object["behavior"] = behavior == Behavior::deny ? "deny" : "allow";
        if (behavior == Behavior::allowWithRule)
            object["addRule"] = true;
    }
    std::string line = dump(object);
    if (type == Type::request && line.size() + 1 > maxLine && !suggestions.empty()) {
        object["suggestions"] = ordered_json::array();
        line = dump(object);
    }
    if (line.size() + 1 > maxLine)
        throw PermissionMessageError("Message of " + std::to_string(line.size() + 1) +
                                     " bytes is longer than the limit");
    line += '\n';
    return line;
}

PermissionMessage PermissionMessage::decode(std::string_view line) {
    if (line.ends_with('\n'))
        line.remove_suffix(1);
    if (line.size() + 1 > maxLine)
        throw PermissionMessageError("Message of " + std::to_string(line.size() + 1) +
                                     " bytes is longer than the limit");
    const ordered_json object = ordered_json::parse(line, nullptr, false);
    if (object.is_discarded())
        throw PermissionMessageError("Message is not valid JSON");
    if (!object.is_object())
        throw PermissionMessageError("Message is not a JSON object");
    const std::string& type = stringField(object, "type");
    PermissionMessage message;
    std::size_t index = 0;
    while (index < typeNames.size() && type != typeNames[index])
        ++index;
    if (index == typeNames.size())
        throw PermissionMessageError("Unknown message type \"" +
                                     std::string(PermissionWire::shortened(type, 40)) + "\"");
    message.type = static_cast<Type>(index);
    message.requestId = stringField(object, "requestId");
    if (!PermissionWire::isRequestId(message.requestId))
        throw PermissionMessageError("Key \"requestId\" is not 32 hex digits");

    if (message.type == Type::request) {
        auto version = object.find("version");
        if (version == object.end() || !version->is_number_integer() ||
            version->get<long long>() != PermissionMessage::version)
            throw PermissionMessageError("Unsupported request version");
        message.sessionId = stringField(object, "sessionId");
        message.cwd = stringField(object, "cwd");
        message.toolName = stringField(object, "toolName");
        message.summary = stringField(object, "summary");
        auto prompt = object.find("promptId");
        if (prompt != object.end() && prompt->is_string())
            message.promptId = prompt->get<std::string>();
        else if (prompt != object.end() && !prompt->is_null())
            throw PermissionMessageError("Key \"promptId\" is not a string or null");
        auto suggestions = object.find("suggestions");
        if (suggestions == object.end() || !suggestions->is_array())
            throw PermissionMessageError("Key \"suggestions\" is missing or not an array");
        message.suggestions = *suggestions;
    } else if (message.type == Type::decision) {
        const std::string& behavior = stringField(object, "behavior");
        auto rule = object.find("addRule");
        const bool addRule = rule != object.end() && rule->is_boolean() && rule->get<bool>();
        if (rule != object.end() && !rule->is_boolean())
            throw PermissionMessageError("Key \"addRule\" is not a boolean");
        if (behavior == "allow")
            message.behavior = addRule ? Behavior::allowWithRule : Behavior::allow;
        else if (behavior == "deny" && !addRule)
            message.behavior = Behavior::deny;
        else
            throw PermissionMessageError("Unknown decision \"" +
                                         std::string(PermissionWire::shortened(behavior, 40)) +
                                         (addRule ? "\" with a rule" : "\""));
    }
    return message;
}

namespace PermissionWire {

std::string newRequestId() {
    std::random_device source;
    std::string id;
    id.reserve(32);
    constexpr const char* digits = "0123456789abcdef";
    for (int word = 0; word < 4; ++word) {
        std::uint32_t bits = source();
        for (int nibble = 0; nibble < 8; ++nibble, bits >>= 4)
            id += digits[bits & 0xF];
    }
    return id;
}

bool isRequestId(std::string_view text) {
    if (text.size() != 32)
        return false;
    for (char c : text)
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            return false;
    return true;
}

std::string_view shortened(std::string_view text, std::size_t limit) {
    if (text.size() <= limit)
        return text;
    std::size_t cut = limit;
    // Back off continuation bytes so that the cut falls before a character's first byte.
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
        --cut;
    return text.substr(0, cut);
}

std::string hookOutput(PermissionMessage::Behavior behavior, const ordered_json& suggestions) {
    ordered_json decision;
    using Behavior = PermissionMessage::Behavior;
    decision["behavior"] = behavior == Behavior::deny ? "deny" : "allow";
    if (behavior == Behavior::deny)
        decision["message"] = denyMessage;
    if (behavior == Behavior::allowWithRule)
        decision["updatedPermissions"] = suggestions;
    ordered_json output;
    output["hookSpecificOutput"]["hookEventName"] = "PermissionRequest";
    output["hookSpecificOutput"]["decision"] = std::move(decision);
    return dump(output);
}

void LineReader::feed(std::string_view bytes) {
    if (skipping_) {
        const auto end = bytes.find('\n');
        if (end == std::string_view::npos)
            return;
        skipping_ = false;
        bytes.remove_prefix(end + 1);
    }
    pending_.append(bytes);
}

std::optional<LineReader::Line> LineReader::next() {
    const auto end = pending_.find('\n');
    if (end != std::string::npos) {
        Line line;
        if (end + 1 > PermissionMessage::maxLine)
            line.tooLong = true;
        else
            line.text = pending_.substr(0, end);
        pending_.erase(0, end + 1);
        return line;
    }
    if (pending_.size() >= PermissionMessage::maxLine) {
        // Whatever follows up to the next '\n' belongs to this line and is dropped unread.
        pending_.clear();
        skipping_ = true;
        return Line{{}, true};
    }
    return std::nullopt;
}

} // namespace PermissionWire
} // namespace ostrelvan
