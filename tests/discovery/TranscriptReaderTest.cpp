#include "TranscriptReader.h"

#include "ClaudeRegistry.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
using namespace std::chrono_literals;

namespace {

std::string aiTitle(std::string_view t) {
    return R"({"type":"ai-title","aiTitle":")" + std::string(t) + "\"}\n";
}

void append(const std::filesystem::path& path, std::string_view text) {
    std::ofstream(path, std::ios::binary | std::ios::app) << text;
}

class TranscriptReaderTest : public testing::Test {
protected:
    TempDir dir;
    std::filesystem::path config = dir.path() / "claude";
    TimePoint now = TimePoint(std::chrono::sys_days(std::chrono::year(2025) / 6 / 1));
    TranscriptReader reader{config, [this] { return now; }};

    SessionState session(std::string id, std::string cwd = "/home/ana/app") {
        SessionState s;
        s.sessionId = std::move(id);
        s.cwd = std::move(cwd);
        return s;
    }
    std::filesystem::path transcript(const SessionState& s) {
        return ClaudeRegistry::transcriptURL(config, s.folder(), s.sessionId);
    }
    TranscriptInfo at(std::chrono::milliseconds offset, const SessionState& s) {
        now += offset;
        return reader.info(s);
    }
};

const TranscriptInfo missing{};

TranscriptInfo found(std::optional<std::string> title) {
    return {true, std::move(title)};
}

} // namespace

TEST_F(TranscriptReaderTest, ATranscriptThatAppearsLaterIsFoundAfterTheRetry) {
    const auto s = session("late");
    EXPECT_EQ(reader.info(s), missing);
    EXPECT_EQ(at(30s, s), missing);
    writeText(transcript(s), aiTitle("Late start"));
    EXPECT_EQ(at(29999ms, s), missing);
    EXPECT_EQ(at(1ms, s), found("Late start")); // 60 s after the failed search
}

TEST_F(TranscriptReaderTest, AGrowingTranscriptIsRereadAtMostEveryTenSeconds) {
    auto s = session("grow");
    s.root = "/home/ana/root"; // the root names the folder, not the cwd
    writeText(transcript(s), aiTitle("A"));
    EXPECT_EQ(reader.info(s), found("A"));
    append(transcript(s), aiTitle("B"));
    for (int second = 1; second < 10; ++second) {
        EXPECT_EQ(at(1s, s), found("A")) << second;
        append(transcript(s), R"({"type":"user"})"
                              "\n");
    }
    EXPECT_EQ(at(1s, s), found("B"));
    EXPECT_EQ(at(1h, s), found("B")); // unchanged file: the cached answer

    // Deleted: gone at once, searched for again only after a minute.
    std::filesystem::remove(transcript(s));
    EXPECT_EQ(at(1s, s), missing);
    writeText(transcript(s), aiTitle("C"));
    EXPECT_EQ(at(59s, s), missing);
    EXPECT_EQ(at(1s, s), found("C"));
}

TEST_F(TranscriptReaderTest, ReadsOnlyTheTail) {
    EXPECT_EQ(TranscriptReader::tailOffset(100), 0);
    EXPECT_EQ(TranscriptReader::tailOffset(1'000'000), 737856);

    // One junk byte before the line at 737856: read from one byte earlier or later, it breaks.
    const auto big = dir.path() / "big.jsonl";
    std::string content = std::string(737854, 'x') + "\n!";
    content += R"({"type":"custom-title","customTitle":"Tail"})"
               "\n";
    content += std::string(1'000'000 - content.size() - 1, 'y') + "\n";
    ASSERT_EQ(content.size(), 1'000'000u);
    writeText(big, content);
    EXPECT_EQ(TranscriptReader::title(big, 1'000'000), "Tail");
    EXPECT_FALSE(TranscriptReader::title(dir.path() / "none.jsonl", 10));
}

TEST_F(TranscriptReaderTest, KeepsTheTitleThatScrolledOutAndPrefersACustomOne) {
    const auto s = session("long");
    writeText(transcript(s), R"({"type":"custom-title","customTitle":"Mine"})"
                             "\n" +
                                 aiTitle("Generated"));
    EXPECT_EQ(reader.info(s), found("Mine"));
    const std::string filler = R"({"type":"assistant","text":")" + std::string(3000, 'z') + "\"}\n";
    for (int i = 0; i < 100; ++i) { // 300 KB: both title lines leave the tail
        append(transcript(s), filler);
    }
    EXPECT_EQ(at(10s, s), found("Mine"));
    append(transcript(s), aiTitle("Newer"));
    EXPECT_EQ(at(10s, s), found("Newer"));
}

TEST_F(TranscriptReaderTest, FindsTranscriptsInFoldersTheSlugDoesNotName) {
    // A real folder path longer than 200 characters: Claude Code shortens its name with a hash.
    std::filesystem::path cwd = dir.path();
    while (cwd.string().size() <= 260) {
        cwd /= "a-deeply.nested_folder";
    }
    std::filesystem::create_directories(cwd);
    const auto s = session("deep", cwd.string());
    const std::string slug = ClaudeRegistry::projectSlug(cwd.string());
    ASSERT_GT(slug.size(), 200u);
    writeText(config / "projects" / "-other-project" / "unrelated.jsonl", aiTitle("No"));
    writeText(config / "projects" / (slug.substr(0, 200) + "-1x9k3q") / "deep.jsonl",
              aiTitle("Deep"));
    EXPECT_EQ(reader.info(s), found("Deep"));

    const auto moved = session("moved");
    writeText(config / "projects" / "-where-it-started" / "moved.jsonl", aiTitle("Moved"));
    EXPECT_EQ(reader.info(moved), found("Moved"));
    EXPECT_EQ(reader.locate(session("nowhere")), std::nullopt);
}
