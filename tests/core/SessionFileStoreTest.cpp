#include "SessionFileStore.h"

#include "SessionCoding.h"
#include "SessionFileStoreError.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
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

} // namespace

// The folder and file modes are checked through the real helper, in the hook tests.
TEST(SessionFileStore, FreshRootWriteReadAndDelete) {
    TempDir temp;
    const fs::path root = temp / "data";
    SessionFileStore store(root / "sessions");

    ReduceOutcome outcome = store.apply(event(HookEvent::Kind::userPromptSubmit, "s1"), context);
    ASSERT_EQ(outcome.kind, ReduceOutcome::Kind::write);
    EXPECT_EQ(SessionFileStore::read(store.fileURL("s1")), outcome.state);
    EXPECT_EQ(readText(store.fileURL("s1")), SessionCoding::encode(*outcome.state));

    store.apply(event(HookEvent::Kind::stop, "s2"), context);
    ASSERT_EQ(store.loadAll().size(), 2u);

    EXPECT_EQ(store.apply(event(HookEvent::Kind::sessionEnd, "s1"), context),
              ReduceOutcome::remove());
    EXPECT_EQ(listing(store.directory()), "s2.json\ns2.lock\n");
    store.remove("s2");
    store.remove("../data");
    EXPECT_TRUE(fs::is_empty(store.directory()));
    EXPECT_TRUE(fs::exists(root));
}

TEST(SessionFileStore, CorruptFileIsSkippedThenReplaced) {
    TempDir temp;
    SessionFileStore store(temp.path());
    writeText(store.fileURL("s1"), "{\"schema\": 1, \"sessionId\": ");
    writeText(temp / "other.txt", "x");
    writeText(temp / "s9.json.tmp123", "{}");
    writeText(temp / "s9.lock", "");
    EXPECT_FALSE(SessionFileStore::read(store.fileURL("s1")));
    EXPECT_TRUE(store.loadAll().empty());
    EXPECT_TRUE(fs::exists(store.fileURL("s1"))); // left on disk

    store.apply(event(HookEvent::Kind::preToolUse, "s1"), context);
    ASSERT_EQ(store.loadAll().size(), 1u);
    EXPECT_EQ(store.loadAll()[0].status, SessionStatus::working);
    EXPECT_EQ(store.loadAll()[0].firstSeen, context.now);

    EXPECT_TRUE(SessionFileStore(temp / "missing").loadAll().empty());
}

TEST(SessionFileStore, InvalidIdsTouchNothing) {
    TempDir temp;
    SessionFileStore store(temp / "sessions");
    for (const std::string& id :
         {std::string(129, 'a'), std::string(".."), std::string("../x"), std::string("a/b"),
          std::string(""), std::string("a b"), std::string("a.json"), std::string("\u00e9"),
          std::string("a\r\n"), std::string("a\0b", 3)}) {
        EXPECT_FALSE(SessionFileStore::isValidSessionId(id)) << id;
        try {
            store.apply(event(HookEvent::Kind::stop, id), context);
            ADD_FAILURE() << id;
        } catch (const SessionFileStoreError& error) {
            EXPECT_EQ(error, SessionFileStoreError::invalidSessionId(id));
            EXPECT_EQ(error.kind(), SessionFileStoreError::Kind::invalidSessionId);
        }
    }
    EXPECT_TRUE(fs::is_empty(temp.path()));

    for (const std::string& id : {std::string(128, 'b'), std::string("AZaz09-_")}) {
        store.apply(event(HookEvent::Kind::stop, id), context);
        EXPECT_TRUE(fs::exists(store.fileURL(id))) << id;
    }
}

TEST(SessionFileStore, FailedWriteKeepsTheOldFileAndReleasesTheLock) {
    TempDir temp;
    SessionFileStore store(temp.path());
    store.apply(event(HookEvent::Kind::stop, "s1"), context);
    const std::string before = readText(store.fileURL("s1"));
    // A folder where the temporary file would go makes the write fail, even for root.
    fs::path blocker = store.fileURL("s1");
    blocker += ".tmp" + std::to_string(::getpid());
    fs::create_directory(blocker);
    EXPECT_THROW(store.apply(event(HookEvent::Kind::userPromptSubmit, "s1"), context),
                 std::system_error);
    EXPECT_EQ(readText(store.fileURL("s1")), before);
    fs::remove(blocker);
    store.apply(event(HookEvent::Kind::userPromptSubmit, "s1"), context);
    EXPECT_EQ(store.loadAll().at(0).status, SessionStatus::working);
}
