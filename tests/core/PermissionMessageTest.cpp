#include "core/PermissionMessage.h"

#include <gtest/gtest.h>
#include <set>

using namespace ostrelvan;
using nlohmann::ordered_json;
using Type = PermissionMessage::Type;
using Behavior = PermissionMessage::Behavior;

namespace {

const std::string id = "0123456789abcdef0123456789abcdef";
const ordered_json rule = ordered_json::parse(
    R"([{"type":"addRules","rules":[{"toolName":"Bash","ruleContent":"npm test *"}],)"
    R"("behavior":"allow","destination":"localSettings"}])");

std::string errorOf(std::string_view line) {
    try {
        PermissionMessage::decode(line);
    } catch (const PermissionMessageError& error) {
        return error.what();
    }
    return "decoded";
}

} // namespace

TEST(PermissionMessage, TheRequestHasItsExactLineAndComesBack) {
    const PermissionMessage request =
        PermissionMessage::request(id, "s1", "p1", "/w/app", "Bash", "npm test", rule);
    EXPECT_EQ(request.encode(),
              R"({"type":"request","version":1,"requestId":")" + id +
                  R"(","sessionId":"s1","promptId":"p1","cwd":"/w/app","toolName":"Bash",)"
                  R"("summary":"npm test","suggestions":[{"type":"addRules","rules":[{"toolName":)"
                  R"("Bash","ruleContent":"npm test *"}],"behavior":"allow","destination":)"
                  R"("localSettings"}]})"
                  "\n");
    // The answers' lines are the ones the real helper obeys in the hook tests, and the app
    // sends them to the real helper end to end.
    EXPECT_EQ(PermissionMessage::decode(request.encode()), request);

    // No prompt id travels as null; keys in another order and unknown keys are taken.
    const PermissionMessage bare =
        PermissionMessage::request(id, "s", std::nullopt, "/", "Edit", "a.c", ordered_json());
    EXPECT_NE(bare.encode().find(R"("promptId":null)"), std::string::npos);
    EXPECT_EQ(bare.suggestions, ordered_json::array());
    EXPECT_EQ(PermissionMessage::decode(bare.encode()), bare);
    EXPECT_EQ(PermissionMessage::decode(R"({"future":[1],"behavior":"deny","requestId":")" + id +
                                        R"(","type":"decision"})"),
              PermissionMessage::decision(id, Behavior::deny));

    // Fresh ids are well formed and differ.
    std::set<std::string> ids;
    for (int i = 0; i < 50; ++i) {
        ids.insert(PermissionWire::newRequestId());
        EXPECT_TRUE(PermissionWire::isRequestId(*ids.rbegin()));
    }
    EXPECT_EQ(ids.size(), 50u);
}

TEST(PermissionMessage, RequestsStayWithinTheirBounds) {
    // The summary is cut on a character boundary: "é" is two bytes, so 999 a's and one "é" cannot
    // keep the "é".
    const std::string summary = std::string(999, 'a') + "\u00e9" + "tail";
    const PermissionMessage cut =
        PermissionMessage::request(id, "s", {}, "/", "Bash", summary, rule);
    EXPECT_EQ(cut.summary, std::string(999, 'a'));
    EXPECT_EQ(PermissionWire::shortened("a\u00e9", 3), "a\u00e9");
    EXPECT_EQ(PermissionWire::shortened("\u20ac\u20ac", 5), "\u20ac");

    // Suggestions over 8192 bytes, or not an array, are not passed on.
    ordered_json big = ordered_json::array();
    big.push_back({{"type", "addRules"}, {"rules", std::string(8200, 'x')}});
    EXPECT_EQ(PermissionMessage::request(id, "s", {}, "/", "Bash", "x", big).suggestions,
              ordered_json::array());
    EXPECT_EQ(PermissionMessage::request(id, "s", {}, "/", "Bash", "x", {{"a", 1}}).suggestions,
              ordered_json::array());

    // A long folder crowds the suggestions out of the line; a longer one makes it unsendable.
    ordered_json nearLimit = ordered_json::array({std::string(8000, 'r')});
    const PermissionMessage crowded = PermissionMessage::request(
        id, "s", {}, "/" + std::string(9000, 'd'), "Bash", "x", nearLimit);
    const std::string line = crowded.encode();
    EXPECT_LE(line.size(), PermissionMessage::maxLine);
    EXPECT_NE(line.find(R"("suggestions":[])"), std::string::npos);
    const PermissionMessage hopeless = PermissionMessage::request(
        id, "s", {}, "/" + std::string(17000, 'd'), "Bash", "x", nearLimit);
    EXPECT_THROW(hopeless.encode(), PermissionMessageError);
    // Control characters are escaped and a stray byte replaced, never thrown on.
    const PermissionMessage odd =
        PermissionMessage::request(id, "s\x01", {}, "/w/\xff", "Bash", "x", {});
    EXPECT_EQ(PermissionMessage::decode(odd.encode()).cwd, "/w/\xef\xbf\xbd");
}

TEST(PermissionMessage, MalformedLinesAreRejectedWithAReason) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "Message is not valid JSON"},
        {"[1]", "Message is not a JSON object"},
        {R"({"requestId":")" + id + "\"}", "Key \"type\" is missing or not a string"},
        {R"({"type":"hello","requestId":")" + id + "\"}", "Unknown message type \"hello\""},
        {R"({"type":"accepted","requestId":"ABCDEF"})", "Key \"requestId\" is not 32 hex digits"},
        {R"({"type":"decision","requestId":")" + id + R"(","behavior":"maybe"})",
         "Unknown decision \"maybe\""},
        {R"({"type":"decision","requestId":")" + id + R"(","behavior":"deny","addRule":true})",
         "Unknown decision \"deny\" with a rule"},
        {R"({"type":"decision","requestId":")" + id + R"(","behavior":"allow","addRule":1})",
         "Key \"addRule\" is not a boolean"},
        {R"({"type":"request","version":2,"requestId":")" + id + "\"}",
         "Unsupported request version"},
        {R"({"type":"request","version":1,"requestId":")" + id +
             R"(","sessionId":"s","cwd":"/","toolName":"Bash","summary":"x","suggestions":{}})",
         "Key \"suggestions\" is missing or not an array"},
        {R"({"type":"accepted","requestId":")" + id + "\",\"pad\":\"" + std::string(16400, 'p') +
             "\"}",
         "Message of 16476 bytes is longer than the limit"},
    };
    for (const auto& [line, reason] : cases)
        EXPECT_EQ(errorOf(line), reason) << line.substr(0, 80);
}

TEST(PermissionMessage, LineReaderSplitsAndSkipsOverlongLines) {
    PermissionWire::LineReader reader;
    auto lines = [&] {
        std::vector<std::string> out;
        while (auto line = reader.next())
            out.push_back(line->tooLong ? "<too long>" : line->text);
        return out;
    };
    reader.feed("one\ntw");
    EXPECT_EQ(lines(), std::vector<std::string>{"one"});
    reader.feed("o\n\nthree");
    EXPECT_EQ(lines(), (std::vector<std::string>{"two", ""}));
    // A line of exactly the limit with its newline passes; one byte more does not, whether it
    // arrives whole or in pieces, and the reader never holds more than the limit for it.
    reader.feed("\n" + std::string(PermissionMessage::maxLine - 1, 'x') + "\n");
    auto got = lines();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0], "three");
    EXPECT_EQ(got[1].size(), PermissionMessage::maxLine - 1);
    reader.feed(std::string(PermissionMessage::maxLine, 'y') + "\nafter\n");
    EXPECT_EQ(lines(), (std::vector<std::string>{"<too long>", "after"}));
    for (int i = 0; i < 10; ++i) {
        reader.feed(std::string(4000, 'z'));
        auto partial = lines();
        EXPECT_EQ(partial,
                  i == 4 ? std::vector<std::string>{"<too long>"} : std::vector<std::string>{})
            << i;
    }
    reader.feed("zz\nlast\n");
    EXPECT_EQ(lines(), std::vector<std::string>{"last"});
}
