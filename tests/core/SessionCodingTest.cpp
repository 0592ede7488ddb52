#include "core/SessionCoding.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace std::chrono;

namespace {

TimePoint date(int h, int m, int s, int ms = 0) {
    return TimePoint{sys_days{year{2025} / 3 / 14}} + hours{h} + minutes{m} + seconds{s} +
           milliseconds{ms};
}

SessionState bareState() {
    SessionState state = SessionState::make("s-1", "/Users/a/src/app", SessionHost::terminal,
                                            std::nullopt, std::nullopt, date(9, 26, 53, 589));
    state.startedConversation.reset();
    return state;
}

} // namespace

TEST(SessionCoding, AbsentOptionalsLeaveNoKeyAndKeysAreSorted) {
    EXPECT_EQ(SessionCoding::encode(bareState()), R"({
  "activity": "working",
  "backgroundTasks": 0,
  "cwd": "/Users/a/src/app",
  "firstSeen": "2025-03-14T09:26:53.589Z",
  "host": "terminal",
  "lastEvent": "2025-03-14T09:26:53.589Z",
  "root": "/Users/a/src/app",
  "schema": 1,
  "sessionId": "s-1",
  "status": "idle",
  "statusSince": "2025-03-14T09:26:53.589Z"
})");
}

TEST(SessionCoding, EveryFieldRoundTrips) {
    SessionState state = bareState();
    state.title = "Fix the \"parser\" \u00e9";
    state.terminalApp = "kitty";
    state.pid = -2147483647 - 1;
    state.status = SessionStatus::needsApproval;
    state.activity = SessionActivity::runningTests;
    state.tool = "Bash";
    state.detail = "swift test";
    state.pendingApproval = "Bash|swift test";
    state.approvalResolvedAt = date(10, 0, 0, 7);
    state.backgroundTasks = 3;
    state.lastEvent = date(23, 59, 59, 999);
    state.startedConversation = true;
    EXPECT_EQ(SessionCoding::decode(SessionCoding::encode(state)), state);
    // Invalid UTF-8 is replaced, not thrown on.
    state.title = std::string("bad \xff byte");
    EXPECT_EQ(SessionCoding::decode(SessionCoding::encode(state)).title, "bad \xef\xbf\xbd byte");
}

TEST(SessionCoding, Dates) {
    EXPECT_EQ(SessionCoding::parseDate("2025-03-14T09:26:53Z"), date(9, 26, 53));
    EXPECT_EQ(SessionCoding::parseDate("2025-03-14T09:26:53.5Z"), date(9, 26, 53, 500));
    EXPECT_EQ(SessionCoding::parseDate("2025-03-14T09:26:53.589123Z"), date(9, 26, 53, 589));
    EXPECT_EQ(SessionCoding::parseDate("2025-03-14T10:26:53.589+01:00"), date(9, 26, 53, 589));
    for (const char* bad :
         {"2025-03-14", "2025-03-14T09:26:53", "2025-02-30T00:00:00Z", "2025-03-14T24:00:00Z",
          "2025-03-14T09:26:53.Z", "2025-03-14T09:26:53Zjunk", "9999-12-31T23:30:00-01:00", ""})
        EXPECT_FALSE(SessionCoding::parseDate(bad)) << bad;
    EXPECT_EQ(SessionCoding::formatDate(TimePoint{}), "1970-01-01T00:00:00.000Z");
}

TEST(SessionCoding, DecodeFailures) {
    const std::string text = SessionCoding::encode(bareState());
    auto replaced = [&](const std::string& from, const std::string& to) {
        std::string copy = text;
        copy.replace(copy.find(from), from.size(), to);
        return copy;
    };
    try {
        SessionCoding::decode(replaced("2025-03-14T09:26:53.589Z", "2025-03-14"));
        FAIL() << "a date without time decoded";
    } catch (const SessionCodingError& error) {
        EXPECT_STREQ(error.what(), "Not an ISO 8601 date: 2025-03-14");
    }
    for (const std::string& bad :
         {replaced("\"idle\"", "\"Idle\""), replaced("\"schema\": 1", "\"schema\": \"1\""),
          replaced("\"cwd\"", "\"cwdx\""),
          replaced("\"backgroundTasks\": 0", "\"backgroundTasks\": 0.5"), std::string("[]"),
          std::string("{"), std::string("")})
        EXPECT_THROW(SessionCoding::decode(bad), SessionCodingError) << bad;

    // Missing optionals and unknown keys are fine; null counts as absent; schema is not checked.
    SessionState older = SessionCoding::decode(
        replaced("\"schema\": 1", "\"schema\": 7, \"future\": [1], \"title\": null"));
    EXPECT_FALSE(older.startedConversation);
    EXPECT_FALSE(older.title);
    EXPECT_EQ(older.schema, 7);
}
