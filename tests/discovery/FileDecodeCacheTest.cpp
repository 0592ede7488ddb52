#include "app/discovery/FileDecodeCache.h"

#include "TestSupport.h"
#include "core/ClaudeRegistry.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
using namespace std::chrono_literals;

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
