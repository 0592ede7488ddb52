#include "core/SessionCoding.h"

#include <charconv>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>

namespace ostrelvan::SessionCoding {

using nlohmann::json;
using namespace std::chrono;

namespace {

// Reads exactly `count` digits at `pos`.
std::optional<int> digits(std::string_view text, std::size_t& pos, std::size_t count) {
    if (pos + count > text.size())
        return std::nullopt;
    int value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        char c = text[pos + i];
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + (c - '0');
    }
    pos += count;
    return value;
}

bool expect(std::string_view text, std::size_t& pos, char c) {
    if (pos >= text.size() || text[pos] != c)
        return false;
    ++pos;
    return true;
}

[[noreturn]] void fail(const std::string& why) {
    throw SessionCodingError(why);
}

const json& required(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end())
        fail(std::string("Missing key: ") + key);
    return *it;
}

std::string text(const json& value, const char* key) {
    if (!value.is_string())
        fail(std::string("Expected text for ") + key);
    return value.get<std::string>();
}

long long integer(const json& value, const char* key, long long min, long long max) {
    long long result = 0;
    if (value.is_number_integer()) {
        if (value.is_number_unsigned()) {
            auto u = value.get<unsigned long long>();
            if (u > static_cast<unsigned long long>(max))
                fail(std::string("Number out of range for ") + key);
            return static_cast<long long>(u);
        }
        result = value.get<long long>();
    } else if (value.is_number_float()) {
        double d = value.get<double>();
        if (!(d >= static_cast<double>(min) && d <= static_cast<double>(max)) ||
            d != static_cast<double>(static_cast<long long>(d)))
            fail(std::string("Expected a whole number for ") + key);
        result = static_cast<long long>(d);
    } else {
        fail(std::string("Expected a number for ") + key);
    }
    if (result < min || result > max)
        fail(std::string("Number out of range for ") + key);
    return result;
}

TimePoint date(const json& value, const char* key) {
    std::string t = text(value, key);
    auto parsed = parseDate(t);
    if (!parsed)
        fail("Not an ISO 8601 date: " + t);
    return *parsed;
}

template <class Enum> Enum enumeration(const json& value, const char* key) {
    std::string t = text(value, key);
    auto parsed = fromString<Enum>(t);
    if (!parsed)
        fail(std::string("Unknown value for ") + key + ": " + t);
    return *parsed;
}

template <class T, class Read>
std::optional<T> optionalField(const json& object, const char* key, Read read) {
    auto it = object.find(key);
    if (it == object.end() || it->is_null())
        return std::nullopt;
    return read(*it, key);
}

} // namespace

std::string formatDate(TimePoint date) {
    auto day = floor<days>(date);
    year_month_day ymd{day};
    hh_mm_ss time{date - day};
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int(ymd.year()),
                  unsigned(ymd.month()), unsigned(ymd.day()), int(time.hours().count()),
                  int(time.minutes().count()), int(time.seconds().count()),
                  int(time.subseconds().count()));
    return buffer;
}

std::optional<TimePoint> parseDate(std::string_view text) {
    std::size_t pos = 0;
    auto y = digits(text, pos, 4);
    if (!y || !expect(text, pos, '-'))
        return std::nullopt;
    auto mo = digits(text, pos, 2);
    if (!mo || !expect(text, pos, '-'))
        return std::nullopt;
    auto d = digits(text, pos, 2);
    if (!d || !expect(text, pos, 'T'))
        return std::nullopt;
    auto h = digits(text, pos, 2);
    if (!h || !expect(text, pos, ':'))
        return std::nullopt;
    auto mi = digits(text, pos, 2);
    if (!mi || !expect(text, pos, ':'))
        return std::nullopt;
    auto s = digits(text, pos, 2);
    if (!s)
        return std::nullopt;
    int millis = 0;
    if (pos < text.size() && text[pos] == '.') {
        ++pos;
        std::size_t start = pos;
        int scale = 100;
        while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
            millis += (text[pos] - '0') * scale;
            scale /= 10;
            ++pos;
        }
        if (pos == start)
            return std::nullopt;
    }
    int offsetMinutes = 0;
    if (pos < text.size() && text[pos] == 'Z') {
        ++pos;
    } else if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
        int sign = text[pos] == '-' ? -1 : 1;
        ++pos;
        auto oh = digits(text, pos, 2);
        if (!oh)
            return std::nullopt;
        expect(text, pos, ':');
        auto om = digits(text, pos, 2);
        if (!om || *oh > 23 || *om > 59)
            return std::nullopt;
        offsetMinutes = sign * (*oh * 60 + *om);
    } else {
        return std::nullopt;
    }
    if (pos != text.size())
        return std::nullopt;
    year_month_day ymd{year{*y}, month{unsigned(*mo)}, day{unsigned(*d)}};
    if (!ymd.ok() || *h > 23 || *mi > 59 || *s > 59)
        return std::nullopt;
    TimePoint result = TimePoint{sys_days{ymd}} + hours{*h} + minutes{*mi - offsetMinutes} +
                       seconds{*s} + milliseconds{millis};
    // An offset can carry the date past what formatDate writes back in four digits.
    int resultYear = int(year_month_day{floor<days>(result)}.year());
    if (resultYear < 0 || resultYear > 9999)
        return std::nullopt;
    return result;
}

std::string encode(const SessionState& state) {
    json object = json::object();
    object["schema"] = state.schema;
    object["sessionId"] = state.sessionId;
    object["cwd"] = state.cwd;
    if (state.root)
        object["root"] = *state.root;
    if (state.title)
        object["title"] = *state.title;
    object["host"] = toString(state.host);
    if (state.terminalApp)
        object["terminalApp"] = *state.terminalApp;
    if (state.pid)
        object["pid"] = *state.pid;
    object["status"] = toString(state.status);
    object["activity"] = toString(state.activity);
    if (state.tool)
        object["tool"] = *state.tool;
    if (state.detail)
        object["detail"] = *state.detail;
    if (state.pendingApproval)
        object["pendingApproval"] = *state.pendingApproval;
    if (state.approvalResolvedAt)
        object["approvalResolvedAt"] = formatDate(*state.approvalResolvedAt);
    object["backgroundTasks"] = state.backgroundTasks;
    object["statusSince"] = formatDate(state.statusSince);
    object["firstSeen"] = formatDate(state.firstSeen);
    object["lastEvent"] = formatDate(state.lastEvent);
    if (state.startedConversation)
        object["startedConversation"] = *state.startedConversation;
    return object.dump(2, ' ', false, json::error_handler_t::replace);
}

SessionState decode(std::string_view bytes) {
    json object = json::parse(bytes, nullptr, false);
    if (object.is_discarded())
        fail("Not valid JSON");
    if (!object.is_object())
        fail("Not a JSON object");
    constexpr long long intMin = std::numeric_limits<int>::min();
    constexpr long long intMax = std::numeric_limits<int>::max();
    auto readText = [](const json& v, const char* k) { return text(v, k); };

    SessionState state;
    state.schema = int(integer(required(object, "schema"), "schema", intMin, intMax));
    state.sessionId = text(required(object, "sessionId"), "sessionId");
    state.cwd = text(required(object, "cwd"), "cwd");
    state.root = optionalField<std::string>(object, "root", readText);
    state.title = optionalField<std::string>(object, "title", readText);
    state.host = enumeration<SessionHost>(required(object, "host"), "host");
    state.terminalApp = optionalField<std::string>(object, "terminalApp", readText);
    state.pid = optionalField<std::int32_t>(object, "pid", [](const json& v, const char* k) {
        return std::int32_t(integer(v, k, std::numeric_limits<std::int32_t>::min(),
                                    std::numeric_limits<std::int32_t>::max()));
    });
    state.status = enumeration<SessionStatus>(required(object, "status"), "status");
    state.activity = enumeration<SessionActivity>(required(object, "activity"), "activity");
    state.tool = optionalField<std::string>(object, "tool", readText);
    state.detail = optionalField<std::string>(object, "detail", readText);
    state.pendingApproval = optionalField<std::string>(object, "pendingApproval", readText);
    state.approvalResolvedAt = optionalField<TimePoint>(object, "approvalResolvedAt", date);
    state.backgroundTasks =
        int(integer(required(object, "backgroundTasks"), "backgroundTasks", intMin, intMax));
    state.statusSince = date(required(object, "statusSince"), "statusSince");
    state.firstSeen = date(required(object, "firstSeen"), "firstSeen");
    state.lastEvent = date(required(object, "lastEvent"), "lastEvent");
    state.startedConversation =
        optionalField<bool>(object, "startedConversation", [](const json& v, const char* k) {
            if (!v.is_boolean())
                fail(std::string("Expected true or false for ") + k);
            return v.get<bool>();
        });
    return state;
}

} // namespace ostrelvan::SessionCoding
