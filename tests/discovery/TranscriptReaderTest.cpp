#include "app/discovery/TranscriptReader.h"

#include "TestSupport.h"
#include "app/discovery/Transcript.h"

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
        return Transcript::url(config, s.folder(), s.sessionId);
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
    for (int i = 0; i < 100; ++i) // 300 KB: both title lines leave the tail
        append(transcript(s), filler);
    EXPECT_EQ(at(10s, s), found("Mine"));
    append(transcript(s), aiTitle("Newer"));
    EXPECT_EQ(at(10s, s), found("Newer"));
}

TEST_F(TranscriptReaderTest, FindsTranscriptsInFoldersTheSlugDoesNotName) {
    // A real folder path longer than 200 characters: Claude Code shortens its name with a hash.
    std::filesystem::path cwd = dir.path();
    while (cwd.string().size() <= 260)
        cwd /= "a-deeply.nested_folder";
    std::filesystem::create_directories(cwd);
    const auto s = session("deep", cwd.string());
    const std::string slug = Transcript::projectSlug(cwd.string());
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

// The app runs for weeks; sessions come and go.
TEST_F(TranscriptReaderTest, ForgetsSessionsNoLongerAskedAbout) {
    const auto listed = session("listed"), gone = session("gone");
    writeText(transcript(listed), aiTitle("Kept"));
    EXPECT_EQ(reader.info(listed), found("Kept"));
    EXPECT_EQ(reader.info(gone), missing); // a failed search waits a minute before the next
    reader.prune();
    EXPECT_EQ(reader.size(), 2u);
    EXPECT_EQ(at(1s, listed), found("Kept"));
    reader.prune();
    EXPECT_EQ(reader.size(), 1u);
    // Forgotten, so searched for at once when asked about again.
    writeText(transcript(gone), aiTitle("Back"));
    EXPECT_EQ(at(1s, gone), found("Back"));
}

TEST(Transcript, ProjectSlug) {
    EXPECT_EQ(Transcript::projectSlug("/Users/ana/my_app.v2"), "-Users-ana-my-app-v2");
    EXPECT_EQ(Transcript::projectSlug("/tmp/caf\u00e9 x"), "-tmp-caf--x");
    EXPECT_EQ(Transcript::projectSlug("/a/\U0001F600"), "-a---"); // two UTF-16 units
    EXPECT_EQ(Transcript::projectSlug("/a\xff"), "-a-");
    EXPECT_EQ(Transcript::url("/c", "/w/p", "s1"), "/c/projects/-w-p/s1.jsonl");
}

TEST(Transcript, TitleFromTranscriptTail) {
    const auto ai = aiTitle;
    const auto custom = [](std::string_view t) {
        return R"({"type":"custom-title","customTitle":")" + std::string(t) + "\"}\n";
    };
    EXPECT_EQ(Transcript::title(ai("one") + "\n\n" + ai("two")), "two");
    EXPECT_EQ(Transcript::title(custom("mine") + custom("   ") + ai("x")), "mine");
    EXPECT_EQ(Transcript::title(ai("  \\n spaced \\t\u00a0")), "spaced");
    // A partial first line, other types, and broken lines are skipped.
    EXPECT_EQ(Transcript::title("le\":\"cut\"}\n" + ai("ok") + R"({"type":"user","x":"-title\""})" +
                                "\n{\"type\":\"ai-title\",\"aiTitle\":\"\xff\"}\n"),
              "ok");
    EXPECT_FALSE(Transcript::title(""));
    EXPECT_FALSE(Transcript::title(R"({"type":"ai-title","aiTitle":42})"));

    // 4095 bytes are read; 4096 are not.
    std::string line = R"({"type":"ai-title","aiTitle":"long","pad":")";
    line += std::string(4095 - line.size() - 2, 'p') + "\"}";
    EXPECT_EQ(Transcript::title(line), "long");
    EXPECT_FALSE(Transcript::title(line.insert(50, "p")));
}
