#include "core/ClaudeRegistry.h"

#include "TestSupport.h"
#include "app/discovery/FileDecodeCache.h"

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
    // A record of the first moments, with no status, kind or later times, is LivenessTest's.
}

TEST(ClaudeRegistry, RejectsInvalidRecords) {
    const std::string id128(128, 'a');
    EXPECT_TRUE(ClaudeRegistry::decode(record(1, id128)));
    EXPECT_TRUE(ClaudeRegistry::decode(record(1, "A-z_09")));
    for (const std::string& bad : std::vector<std::string>{
             record(0), record(1, std::string(129, 'a')), record(1, ""), record(1, "a/b"),
             R"({"pid":1,"sessionId":"a","cwd":"","startedAt":1})",
             R"({"pid":1,"sessionId":"a","cwd":"/x"})",
             R"({"pid":1,"sessionId":"a","cwd":"/x","startedAt":"1"})",
             R"({"pid":4294967297,"sessionId":"a","cwd":"/x","startedAt":1})",
             R"({"pid":1.5,"sessionId":"a","cwd":"/x","startedAt":1})",
             R"({"pid":1,"sessionId":"a","cwd":"/x","startedAt":1e300})",
             record(1, "a", R"(,"status":3)"), "[1,2]",
             R"({"pid":1,"sessionId":"a","cwd":"/x","startedAt":1)", ""})
        EXPECT_FALSE(ClaudeRegistry::decode(bad)) << bad;
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
    for (const auto& process : ClaudeRegistry::load(dir.path()))
        pids.push_back(process.pid);
    EXPECT_EQ(pids, (std::vector<std::int32_t>{12, 45, 300}));
    EXPECT_TRUE(ClaudeRegistry::load(dir.path() / "missing").empty());
}

namespace {

// Decodes "ok..." to itself and anything else to none, counting the calls.
struct Counted {
    int calls = 0;
    std::optional<std::string> operator()(std::string_view bytes) {
        ++calls;
        if (bytes.substr(0, 2) != "ok")
            return std::nullopt;
        return std::string(bytes);
    }
};

} // namespace

TEST(FileDecodeCache, DecodesAgainOnlyWhenTheFileMayHaveChanged) {
    TempDir dir;
    const Path file = dir / "a.json";
    Counted decode;
    auto ahead = 10s; // files look settled until the clock is put back to the real time
    FileDecodeCache<std::string> cache([&](std::string_view b) { return decode(b); },
                                       [&] { return wallClockNow() + ahead; });
    const auto readCounting = [&] {
        const auto value = cache.read(file).value_or("none");
        return value + " after " + std::to_string(decode.calls) + " decodes";
    };

    writeText(file, "ok-1");
    EXPECT_EQ(readCounting(), "ok-1 after 1 decodes");
    EXPECT_EQ(readCounting(), "ok-1 after 1 decodes");
    // Same size, new inode.
    writeText(dir / "tmp", "ok-2");
    std::filesystem::rename(dir / "tmp", file);
    EXPECT_EQ(readCounting(), "ok-2 after 2 decodes");
    // Rewritten in place within the settle time: the signature cannot be trusted (two writes
    // within the file system's timestamp granularity look alike), so it is decoded every time.
    ahead = 0s;
    writeText(file, "ok-3");
    EXPECT_EQ(readCounting(), "ok-3 after 3 decodes");
    EXPECT_EQ(readCounting(), "ok-3 after 4 decodes");
    writeText(file, "ok-4");
    EXPECT_EQ(readCounting(), "ok-4 after 5 decodes");

    // Failures are decoded again every time.
    writeText(file, "bad1");
    ahead = 10s;
    EXPECT_EQ(readCounting(), "none after 6 decodes");
    EXPECT_EQ(readCounting(), "none after 7 decodes");
    writeText(file, "ok-5");
    EXPECT_EQ(readCounting(), "ok-5 after 8 decodes");

    // A file gone from the folder is no longer read, and the next prune forgets it.
    cache.prune();
    EXPECT_EQ(cache.size(), 1u);
    std::filesystem::remove(file);
    cache.prune();
    EXPECT_EQ(cache.size(), 0u);
}

TEST(FileDecodeCache, RegistryRereadsAFailedRecordThroughTheCache) {
    TempDir dir;
    writeText(dir / "42.json", R"({"pid":42,"sessionId":"s","cwd":"/w","startedAt":1})");
    int calls = 0; // the first decode sees the record half-written
    FileDecodeCache<ClaudeProcess> cache(
        [&](std::string_view bytes) {
            return ++calls == 1 ? std::nullopt : ClaudeRegistry::decode(bytes);
        },
        [] { return wallClockNow() + 10s; });
    const auto read = [&](const Path& path) { return cache.read(path); };
    for (int pass = 0; pass < 2; ++pass) {
        const auto records = ClaudeRegistry::loadRecords(dir.path(), read);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].sessionId, "s");
    }
    EXPECT_EQ(calls, 2);
}
