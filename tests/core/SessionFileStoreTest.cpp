#include "SessionFileStore.h"

#include "SessionCoding.h"
#include "SessionFileStoreError.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace ostrelvan;
using test::TemporaryFolder;
namespace fs = std::filesystem;

namespace {

HookEvent event(HookEvent::Kind kind, std::string sessionId) {
    HookEvent e;
    e.kind = kind;
    e.rawName = std::string(toString(kind));
    e.sessionId = std::move(sessionId);
    e.cwd = "/w";
    return e;
}

const EventContext context{TimePoint{std::chrono::seconds{1'741'944'413}}, SessionHost::terminal,
                           std::nullopt, 7};

unsigned mode(const fs::path& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 0777;
}

} // namespace

TEST(SessionFileStore, SessionIdRule) {
    EXPECT_TRUE(SessionFileStore::isValidSessionId(std::string(128, 'a')));
    EXPECT_TRUE(SessionFileStore::isValidSessionId("AZaz09-_"));
    for (std::string bad : {std::string(129, 'a'), std::string(""), std::string(".."),
                            std::string("a/b"), std::string("a b"), std::string("a.json"),
                            std::string("\u00e9"), std::string("a\r\n"), std::string("a\0b", 3)})
        EXPECT_FALSE(SessionFileStore::isValidSessionId(bad)) << bad;
}

TEST(SessionFileStore, FreshRootWriteReadAndDelete) {
    TemporaryFolder temp;
    const fs::path root = temp.path() / "data";
    SessionFileStore store(root / "sessions");

    ReduceOutcome outcome = store.apply(event(HookEvent::Kind::userPromptSubmit, "s1"), context);
    ASSERT_EQ(outcome.kind, ReduceOutcome::Kind::write);
    EXPECT_EQ(mode(root), 0700u);
    EXPECT_EQ(mode(store.directory()), 0700u);
    EXPECT_EQ(mode(store.fileURL("s1")), 0600u);
    EXPECT_EQ(mode(store.directory() / "s1.lock"), 0600u);
    EXPECT_EQ(SessionFileStore::read(store.fileURL("s1")), outcome.state);
    EXPECT_EQ(test::readText(store.fileURL("s1")), SessionCoding::encode(*outcome.state));

    store.apply(event(HookEvent::Kind::stop, "s2"), context);
    std::vector<SessionState> all = store.loadAll();
    ASSERT_EQ(all.size(), 2u);

    EXPECT_EQ(store.apply(event(HookEvent::Kind::sessionEnd, "s1"), context),
              ReduceOutcome::remove());
    EXPECT_FALSE(fs::exists(store.fileURL("s1")));
    EXPECT_FALSE(fs::exists(store.directory() / "s1.lock"));
    store.remove("s2");
    store.remove("../data");
    EXPECT_TRUE(fs::is_empty(store.directory()));
    EXPECT_TRUE(fs::exists(root));
}

TEST(SessionFileStore, CorruptFileIsSkippedThenReplaced) {
    TemporaryFolder temp;
    SessionFileStore store(temp.path());
    test::writeText(store.fileURL("s1"), "{\"schema\": 1, \"sessionId\": ");
    test::writeText(temp.path() / "other.txt", "x");
    test::writeText(temp.path() / "s9.json.tmp123", "{}");
    test::writeText(temp.path() / "s9.lock", "");
    EXPECT_FALSE(SessionFileStore::read(store.fileURL("s1")));
    EXPECT_TRUE(store.loadAll().empty());
    EXPECT_TRUE(fs::exists(store.fileURL("s1"))); // left on disk

    store.apply(event(HookEvent::Kind::preToolUse, "s1"), context);
    ASSERT_EQ(store.loadAll().size(), 1u);
    EXPECT_EQ(store.loadAll()[0].status, SessionStatus::working);
    EXPECT_EQ(store.loadAll()[0].firstSeen, context.now);

    EXPECT_TRUE(SessionFileStore(temp.path() / "missing").loadAll().empty());
}

TEST(SessionFileStore, InvalidIdsTouchNothing) {
    TemporaryFolder temp;
    const fs::path sessions = temp.path() / "sessions";
    SessionFileStore store(sessions);
    for (std::string id : {std::string(129, 'a'), std::string(".."), std::string("../x"),
                           std::string("a/b"), std::string("")}) {
        try {
            store.apply(event(HookEvent::Kind::stop, id), context);
            FAIL() << id;
        } catch (const SessionFileStoreError& error) {
            EXPECT_EQ(error, SessionFileStoreError::invalidSessionId(id));
            EXPECT_EQ(error.kind(), SessionFileStoreError::Kind::invalidSessionId);
        }
    }
    EXPECT_FALSE(fs::exists(sessions));
    EXPECT_TRUE(fs::is_empty(temp.path()));

    // 128 characters are fine.
    store.apply(event(HookEvent::Kind::stop, std::string(128, 'b')), context);
    EXPECT_TRUE(fs::exists(store.fileURL(std::string(128, 'b'))));
}

TEST(SessionFileStore, FailedWriteKeepsTheOldFileAndReleasesTheLock) {
    TemporaryFolder temp;
    SessionFileStore store(temp.path());
    store.apply(event(HookEvent::Kind::stop, "s1"), context);
    const std::string before = test::readText(store.fileURL("s1"));
    // A folder where the temporary file would go makes the write fail, even for root.
    fs::path blocker = store.fileURL("s1");
    blocker += ".tmp" + std::to_string(::getpid());
    fs::create_directory(blocker);
    EXPECT_THROW(store.apply(event(HookEvent::Kind::userPromptSubmit, "s1"), context),
                 std::system_error);
    EXPECT_EQ(test::readText(store.fileURL("s1")), before);
    fs::remove(blocker);
    store.apply(event(HookEvent::Kind::userPromptSubmit, "s1"), context);
    EXPECT_EQ(store.loadAll().at(0).status, SessionStatus::working);
}
