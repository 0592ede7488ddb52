#include "core/HookEvent.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>
#include <unistd.h>
#include <vector>

namespace ostrelvan {

using nlohmann::json;

std::string_view toString(HookEvent::Kind kind) {
    using Kind = HookEvent::Kind;
    switch (kind) {
    case Kind::sessionStart:
        return "SessionStart";
    case Kind::sessionEnd:
        return "SessionEnd";
    case Kind::userPromptSubmit:
        return "UserPromptSubmit";
    case Kind::preToolUse:
        return "PreToolUse";
    case Kind::postToolUse:
        return "PostToolUse";
    case Kind::postToolUseFailure:
        return "PostToolUseFailure";
    case Kind::permissionRequest:
        return "PermissionRequest";
    case Kind::notification:
        return "Notification";
    case Kind::stop:
        return "Stop";
    case Kind::subagentStart:
        return "SubagentStart";
    case Kind::preCompact:
        return "PreCompact";
    }
    return "";
}

// The payload is read as a stream of parse events, keeping only the fields the event needs: a
// tool's output (often most of the payload) is never stored. A repeated key counts by its last
// value, as in a parsed document.
struct HookEvent::Payload final : json::json_sax_t {
    enum class Key {
        other,
        name,
        sessionId,
        cwd,
        toolName,
        toolInput,
        notificationType,
        message,
        sessionTitle,
        backgroundTasks,
        source,
        promptId,
        suggestions,
    };
    enum class ToolKey { other, command, filePath, notebookPath, url };
    enum class Inner { other, toolInput, backgroundTasks, suggestions };

    int depth = 0;
    bool notAnObject = false;
    Key current = Key::other;
    Inner inner = Inner::other;
    ToolKey toolKey = ToolKey::other;
    bool inStatus = false;

    std::optional<std::string> name, sessionId, cwd, toolName, notificationType, message,
        sessionTitle, source, promptId;
    bool nameWrongType = false, sessionIdWrongType = false;
    std::optional<std::string> command, filePath, notebookPath, url;
    bool tasksValid = true;
    int running = 0;
    std::optional<std::string> taskStatus;
    bool statusBad = false;

    // permission_suggestions is kept whole, as a document built from the events inside it; a
    // null on the stack stands for a container past the size bound, whose contents are dropped.
    nlohmann::ordered_json captured;
    std::vector<nlohmann::ordered_json*> stack;
    std::string captureKey;
    std::size_t captureSize = 0;
    std::optional<std::string> suggestions;

    HookEvent event() const {
        if (notAnObject)
            throw HookEventDecodeError("Payload is not a JSON object");
        require(name, nameWrongType, "hook_event_name");
        require(sessionId, sessionIdWrongType, "session_id");
        HookEvent event;
        event.rawName = *name;
        event.sessionId = *sessionId;
        event.kind = fromString<Kind>(event.rawName);
        event.cwd = cwd.value_or("");
        event.toolName = toolName;
        event.command = command;
        event.filePath = filePath ? filePath : notebookPath;
        event.url = url;
        event.notificationType = notificationType;
        event.message = message;
        event.sessionTitle = sessionTitle;
        event.runningBackgroundTasks = tasksValid ? running : 0;
        event.source = source;
        event.promptId = promptId;
        event.permissionSuggestions = suggestions;
        return event;
    }

private:
    static void require(const std::optional<std::string>& value, bool wrongType, const char* key) {
        if (value)
            return;
        if (wrongType)
            throw HookEventDecodeError(std::string("Key \"") + key + "\" is not a string");
        throw HookEventDecodeError(std::string("Missing key \"") + key + "\"");
    }

    static Key topKey(std::string_view text) {
        static constexpr std::pair<std::string_view, Key> keys[] = {
            {"hook_event_name", Key::name},
            {"session_id", Key::sessionId},
            {"cwd", Key::cwd},
            {"tool_name", Key::toolName},
            {"tool_input", Key::toolInput},
            {"notification_type", Key::notificationType},
            {"message", Key::message},
            {"session_title", Key::sessionTitle},
            {"background_tasks", Key::backgroundTasks},
            {"source", Key::source},
            {"prompt_id", Key::promptId},
            {"permission_suggestions", Key::suggestions},
        };
        for (auto [wire, k] : keys)
            if (wire == text)
                return k;
        return Key::other;
    }

    std::optional<std::string>* topField() {
        switch (current) {
        case Key::name:
            return &name;
        case Key::sessionId:
            return &sessionId;
        case Key::cwd:
            return &cwd;
        case Key::toolName:
            return &toolName;
        case Key::notificationType:
            return &notificationType;
        case Key::message:
            return &message;
        case Key::sessionTitle:
            return &sessionTitle;
        case Key::source:
            return &source;
        case Key::promptId:
            return &promptId;
        default:
            return nullptr;
        }
    }

    std::optional<std::string>* toolField() {
        switch (toolKey) {
        case ToolKey::command:
            return &command;
        case ToolKey::filePath:
            return &filePath;
        case ToolKey::notebookPath:
            return &notebookPath;
        case ToolKey::url:
            return &url;
        default:
            return nullptr;
        }
    }

    // A value that is not a string where the event wants one, at the level it is read at.
    void otherValue() {
        if (depth == 0) {
            notAnObject = true;
        } else if (depth == 1) {
            if (auto* field = topField())
                field->reset();
            if (current == Key::name)
                nameWrongType = true;
            if (current == Key::sessionId)
                sessionIdWrongType = true;
            if (current == Key::toolInput)
                clearToolInput();
            if (current == Key::backgroundTasks)
                resetTasks();
            if (current == Key::suggestions)
                suggestions.reset();
        } else if (depth == 2 && inner == Inner::toolInput) {
            if (auto* field = toolField())
                field->reset();
        } else if (depth == 2 && inner == Inner::backgroundTasks) {
            tasksValid = false; // an element that is not an object
        } else if (depth == 3 && inner == Inner::backgroundTasks && inStatus) {
            taskStatus.reset();
            statusBad = true; // a status that is not a string
        }
    }

    void clearToolInput() { command = filePath = notebookPath = url = std::nullopt; }
    void resetTasks() {
        tasksValid = true;
        running = 0;
    }

    bool capturing() const { return inner == Inner::suggestions && depth >= 2; }

    // Adds a value under the innermost open container; none when that one is past the bound.
    // `size` is the fewest bytes the value takes in compact JSON, so that the running sum never
    // exceeds the text's length: past the bound, the text is sure to be too.
    nlohmann::ordered_json* capture(nlohmann::ordered_json value, std::size_t size) {
        nlohmann::ordered_json* top = stack.back();
        captureSize += size + (top && top->is_object() ? captureKey.size() + 3 : 0);
        if (!top || captureSize > HookEvent::maxSuggestionsText) {
            stack.front() = nullptr; // the whole array is dropped
            return nullptr;
        }
        if (top->is_array()) {
            top->push_back(std::move(value));
            return &top->back();
        }
        return &((*top)[captureKey] = std::move(value));
    }

    bool textValue(std::string& text) {
        if (capturing()) {
            const std::size_t size = text.size() + 2;
            capture(std::move(text), size);
            return true;
        }
        if (depth == 1) {
            if (auto* field = topField()) {
                *field = std::move(text);
                if (current == Key::name)
                    nameWrongType = false;
                if (current == Key::sessionId)
                    sessionIdWrongType = false;
                return true;
            }
        } else if (depth == 2 && inner == Inner::toolInput) {
            if (auto* field = toolField())
                *field = std::move(text);
            return true;
        } else if (depth == 3 && inner == Inner::backgroundTasks && inStatus) {
            taskStatus = std::move(text);
            statusBad = false;
            return true;
        }
        otherValue();
        return true;
    }

    bool nullValue() {
        if (capturing())
            return capture(nullptr, 4), true;
        if (depth == 3 && inner == Inner::backgroundTasks && inStatus) {
            taskStatus.reset();
            statusBad = false;
            return true;
        }
        if (depth == 1 && current == Key::backgroundTasks) {
            resetTasks();
            return true;
        }
        otherValue();
        return true;
    }

    bool open(bool isObject) {
        if (capturing()) {
            nlohmann::ordered_json* added = capture(
                isObject ? nlohmann::ordered_json::object() : nlohmann::ordered_json::array(), 2);
            stack.push_back(added);
            ++depth;
            return true;
        }
        if (depth == 1 && current == Key::suggestions && !isObject) {
            inner = Inner::suggestions;
            captured = nlohmann::ordered_json::array();
            stack.assign(1, &captured);
            captureSize = 0;
            ++depth;
            return true;
        }
        if (depth == 0 && !isObject)
            notAnObject = true;
        if (depth == 1) {
            if (current == Key::toolInput && isObject) {
                inner = Inner::toolInput;
                clearToolInput();
            } else if (current == Key::backgroundTasks && !isObject) {
                inner = Inner::backgroundTasks;
                resetTasks();
            } else {
                otherValue();
                inner = Inner::other;
            }
        } else if (depth == 2 && inner == Inner::backgroundTasks) {
            if (isObject) {
                taskStatus.reset();
                statusBad = false;
            } else {
                tasksValid = false;
            }
        } else if (depth == 2 || (depth == 3 && inner == Inner::backgroundTasks)) {
            otherValue();
        }
        ++depth;
        return !notAnObject;
    }

    bool close() {
        --depth;
        if (inner == Inner::suggestions && depth >= 1) {
            const bool whole = stack.front() != nullptr;
            stack.pop_back();
            if (depth == 1) {
                suggestions.reset();
                if (whole) {
                    std::string text = captured.dump(
                        -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
                    if (text.size() <= HookEvent::maxSuggestionsText)
                        suggestions = std::move(text);
                }
                captured = nullptr;
                inner = Inner::other;
            }
            return true;
        }
        if (depth == 2 && inner == Inner::backgroundTasks) {
            if (statusBad)
                tasksValid = false;
            else if (taskStatus == "running")
                ++running;
            taskStatus.reset();
            statusBad = false;
        }
        return true;
    }

public:
    bool null() override { return nullValue(); }
    bool boolean(bool value) override {
        return capturing() ? (capture(value, 4), true) : (otherValue(), true);
    }
    bool number_integer(number_integer_t value) override {
        return capturing() ? (capture(value, 1), true) : (otherValue(), true);
    }
    bool number_unsigned(number_unsigned_t value) override {
        return capturing() ? (capture(value, 1), true) : (otherValue(), true);
    }
    bool number_float(number_float_t value, const string_t&) override {
        return capturing() ? (capture(value, 1), true) : (otherValue(), true);
    }
    bool string(string_t& text) override { return textValue(text); }
    bool binary(binary_t&) override { return otherValue(), true; }
    bool start_object(std::size_t) override { return open(true); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(false); }
    bool end_array() override { return close(); }

    bool key(string_t& text) override {
        if (capturing()) {
            captureKey = std::move(text);
            return true;
        }
        if (depth == 1) {
            current = topKey(text);
        } else if (depth == 2 && inner == Inner::toolInput) {
            toolKey = text == "command"         ? ToolKey::command
                      : text == "file_path"     ? ToolKey::filePath
                      : text == "notebook_path" ? ToolKey::notebookPath
                      : text == "url"           ? ToolKey::url
                                                : ToolKey::other;
        } else if (depth == 3 && inner == Inner::backgroundTasks) {
            inStatus = text == "status";
        }
        return true;
    }

    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }
};

namespace {

// Reads a descriptor through a buffer, as the input iterator the JSON parser consumes.
class DescriptorInput {
public:
    explicit DescriptorInput(int fd) : fd_(fd) {}

    bool atEnd() {
        if (next_ < filled_)
            return false;
        if (finished_)
            return true;
        for (;;) {
            ssize_t n = ::read(fd_, buffer_, sizeof buffer_);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                finished_ = true;
                error_ = n < 0 ? errno : 0;
                return true;
            }
            total_ += static_cast<std::size_t>(n);
            next_ = 0;
            filled_ = static_cast<std::size_t>(n);
            return false;
        }
    }
    char current() const { return buffer_[next_]; }
    void advance() { ++next_; }
    int error() const { return error_; }
    std::size_t total() const { return total_; }

    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = char;
        using difference_type = std::ptrdiff_t;
        using pointer = const char*;
        using reference = char;

        Iterator() = default;
        explicit Iterator(DescriptorInput* input) : input_(input) {}
        char operator*() const { return input_->current(); }
        Iterator& operator++() {
            input_->advance();
            return *this;
        }
        Iterator operator++(int) {
            Iterator copy = *this;
            ++*this;
            return copy;
        }
        // Only ever compared with the end iterator.
        bool operator==(const Iterator& other) const { return atEnd() == other.atEnd(); }

    private:
        bool atEnd() const { return !input_ || input_->atEnd(); }
        DescriptorInput* input_ = nullptr;
    };

private:
    int fd_;
    char buffer_[16384];
    std::size_t next_ = 0;
    std::size_t filled_ = 0;
    std::size_t total_ = 0;
    bool finished_ = false;
    int error_ = 0;
};

} // namespace

HookEvent HookEvent::decode(std::string_view bytes) {
    if (bytes.empty())
        throw HookEventDecodeError("Payload is empty");
    Payload payload;
    if (!json::sax_parse(bytes, &payload) && !payload.notAnObject)
        throw HookEventDecodeError("Payload is not valid JSON");
    return payload.event();
}

HookEvent HookEvent::read(int fileDescriptor) {
    auto input = std::make_unique<DescriptorInput>(fileDescriptor);
    Payload payload;
    bool parsed = json::sax_parse(DescriptorInput::Iterator(input.get()),
                                  DescriptorInput::Iterator(), &payload);
    if (input->error() != 0)
        throw HookEventDecodeError(std::string("Cannot read the payload: ") +
                                   std::strerror(input->error()));
    if (input->total() == 0)
        throw HookEventDecodeError("Payload is empty");
    if (!parsed && !payload.notAnObject)
        throw HookEventDecodeError("Payload is not valid JSON");
    return payload.event();
}

} // namespace ostrelvan
