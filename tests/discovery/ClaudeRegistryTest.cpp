#include "ClaudeRegistry.h"

#include "TestSupport.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
using namespace std::chrono_literals;

namespace {

std::string record(int pid, std::string_view sessionId = "abc-123_X", std::string_view extra = "") {
    return R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":")" + std::string(sessionId) +
           R"(","cwd":"/home/ana/app","startedAt":1700000000000)" + std::string(extra) + "}";
}

} // namespace

TEST(ClaudeRegistry, DecodesWhatClaudeCodeWrites) {
    const auto process = ClaudeRegistry::decode(R"({
        "pid": 48213, "sessionId": "0b7c2d4e-9f1a-4c3b-8e6d-5a4f3b2c1d0e",
        "cwd": "/home/ana/src/app", "startedAt": 1700000000000.5, "procStart": "1234567",
        "version": "2.1.140", "kind": "interactive", "entrypoint": "cli", "name": "fix tests",
        "nameSource": "ai", "tmux": {"pane": "%3"}, "peerProtocol": 2, "status": "waiting",
        "waitingFor": "permission prompt", "updatedAt": 1700000005000,
        "statusUpdatedAt": 1700000004250})");
    ASSERT_TRUE(process);
    const TimePoint started{std::chrono::seconds(1700000000)}; // 2023-11-14 22:13:20 UTC
    EXPECT_EQ(*process,
              (ClaudeProcess{48213, "0b7c2d4e-9f1a-4c3b-8e6d-5a4f3b2c1d0e", "/home/ana/src/app",
                             "interactive", "cli", "waiting", "permission prompt", started + 1ms,
                             started + 5s, started + 4250ms}));

    // The first moments: no status, no kind, no times beyond the start.
    const auto fresh = ClaudeRegistry::decode(record(7));
    ASSERT_TRUE(fresh);
    EXPECT_EQ(fresh->startedAt, started);
    EXPECT_FALSE(fresh->status || fresh->kind || fresh->entrypoint || fresh->waitingFor ||
                 fresh->updatedAt || fresh->statusUpdatedAt);
}

TEST(ClaudeRegistry, RejectsInvalidRecords) {
    const std::string id128(128, 'a');
    EXPECT_TRUE(ClaudeRegistry::decode(record(1, id128)));
    EXPECT_TRUE(ClaudeRegistry::decode(record(1, "A-z_09")));
    for (const std::string& bad : {
             record(0),
             record(-4),
             record(1, std::string(129, 'a')),
             record(1, ""),
             record(1, "a/b"),
             record(1, "caf\u00e9"),
             std::string(R"({"pid":1,"sessionId":"a","cwd":"","startedAt":1})"),
             std::string(R"({"pid":1,"sessionId":"a","cwd":"/x"})"),
             std::string(R"({"pid":1,"sessionId":"a","cwd":"/x","startedAt":"1"})"),
             std::string(R"({"pid":"1","sessionId":"a","cwd":"/x","startedAt":1})"),
             std::string(R"({"pid":4294967297,"sessionId":"a","cwd":"/x","startedAt":1})"),
             std::string(R"({"pid":1.5,"sessionId":"a","cwd":"/x","startedAt":1})"),
             std::string(R"({"pid":1,"sessionId":"a","cwd":"/x","startedAt":1e300})"),
             record(1, "a", R"(,"status":3)"),
             record(1, "a", R"(,"updatedAt":"soon")"),
             std::string(R"([1,2])"),
             std::string(R"({"pid":1,"sessionId":"a","cwd":"/x","startedAt":1)"),
             std::string(""),
         }) {
        EXPECT_FALSE(ClaudeRegistry::decode(bad)) << bad;
    }
}

TEST(ClaudeRegistry, LoadsRecordFilesOnly) {
    TempDir dir;
    writeText(dir.path() / "300.json", record(300, "c"));
    writeText(dir.path() / "12.json", record(12, "a"));
    writeText(dir.path() / "45.json", record(45, "b"));
    writeText(dir.path() / "45.8f3a9c.key", "secret");
    writeText(dir.path() / "x.JSON", record(1, "upper"));
    writeText(dir.path() / "x.json.tmp", record(2, "tmp"));
    writeText(dir.path() / "bad.json", "{not json");
    writeText(dir.path() / "invalid.json", record(0, "zero"));
    std::filesystem::create_directory(dir.path() / "folder.json");
    ASSERT_EQ(::mkfifo((dir.path() / "fifo.json").c_str(), 0600), 0); // must not block

    std::vector<std::int32_t> pids;
    for (const auto& process : ClaudeRegistry::load(dir.path())) {
        pids.push_back(process.pid);
    }
    EXPECT_EQ(pids, (std::vector<std::int32_t>{12, 45, 300}));
    EXPECT_TRUE(ClaudeRegistry::load(dir.path() / "missing").empty());
}

TEST(ClaudeRegistry, ProjectSlug) {
    EXPECT_EQ(ClaudeRegistry::projectSlug("/Users/ana/my_app.v2"), "-Users-ana-my-app-v2");
    EXPECT_EQ(ClaudeRegistry::projectSlug("/tmp/caf\u00e9 x"), "-tmp-caf--x");
    EXPECT_EQ(ClaudeRegistry::projectSlug("/a/\U0001F600"), "-a---"); // two UTF-16 units
    EXPECT_EQ(ClaudeRegistry::projectSlug("/a\xff"), "-a-");
    EXPECT_EQ(ClaudeRegistry::transcriptURL("/c", "/w/p", "s1"), "/c/projects/-w-p/s1.jsonl");
}

TEST(ClaudeRegistry, TitleFromTranscriptTail) {
    const auto ai = [](std::string_view t) {
        return R"({"type":"ai-title","aiTitle":")" + std::string(t) + "\"}\n";
    };
    const auto custom = [](std::string_view t) {
        return R"({"type":"custom-title","customTitle":")" + std::string(t) + "\"}\n";
    };
    EXPECT_EQ(ClaudeRegistry::title(ai("one") + "\n\n" + ai("two")), "two");
    EXPECT_EQ(ClaudeRegistry::title(custom("mine") + custom("   ") + ai("x")), "mine");
    EXPECT_EQ(ClaudeRegistry::title(ai("  \\n spaced \\t\u00a0")), "spaced");
    // A partial first line, other types, and broken lines are skipped.
    EXPECT_EQ(ClaudeRegistry::title("le\":\"cut\"}\n" + ai("ok") +
                                    R"({"type":"user","x":"-title\""})" +
                                    "\n{\"type\":\"ai-title\",\"aiTitle\":\"\xff\"}\n"),
              "ok");
    EXPECT_FALSE(ClaudeRegistry::title(""));
    EXPECT_FALSE(ClaudeRegistry::title(R"({"type":"ai-title","aiTitle":42})"));

    // 4095 bytes are read; 4096 are not.
    std::string line = R"({"type":"ai-title","aiTitle":"long","pad":")";
    line += std::string(4095 - line.size() - 2, 'p') + "\"}";
    EXPECT_EQ(ClaudeRegistry::title(line), "long");
    EXPECT_FALSE(ClaudeRegistry::title(line.insert(50, "p")));
}
