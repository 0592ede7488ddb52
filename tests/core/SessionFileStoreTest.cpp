#include "core/SessionFileStore.h"

#include "TestSupport.h"
#include "base/FileSystem.h"
#include "core/SessionCoding.h"
#include "core/SessionFileStoreError.h"
#include "core/SessionReducer.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <latch>
#include <mutex>
#include <thread>

using namespace ostrelvan;
using namespace ostrelvan::test;
using namespace std::chrono_literals;
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

TEST(SessionFileStore, RemovesAnEndedSessionOnlyAsItStandsUnderItsLock) {
    TempDir temp;
    SessionFileStore store(temp.path());
    store.apply(event(HookEvent::Kind::stop, "s1"), context);
    const auto ranInSeven = [](const SessionState& state) { return state.pid == 7; };
    {
        // A hook holds the lock: nothing is waited for, nothing deleted.
        const FileDescriptor hook = FileSystem::openLocked(temp / "s1.lock", O_RDWR, true);
        ASSERT_TRUE(hook.isOpen());
        EXPECT_FALSE(store.removeIfEnded("s1", ranInSeven));
        EXPECT_EQ(listing(temp.path()), "s1.json\ns1.lock\n");
    }
    // The file as it is once the lock is taken decides, not the state the caller judged: a hook
    // has just recorded the session in another process.
    EventContext later = context;
    later.pid = 8;
    store.apply(event(HookEvent::Kind::userPromptSubmit, "s1"), later);
    EXPECT_FALSE(store.removeIfEnded("s1", ranInSeven));
    EXPECT_EQ(listing(temp.path()), "s1.json\ns1.lock\n");
    const auto always = [](const SessionState&) { return true; };
    EXPECT_TRUE(store.removeIfEnded("s1", always));
    // A session whose file has gone loses its lock file; an invalid id touches nothing.
    writeText(temp / "s2.lock", "");
    EXPECT_FALSE(store.removeIfEnded("s2", always));
    writeText(temp / "x.json", "{}");
    EXPECT_FALSE(store.removeIfEnded("../x", always));
    EXPECT_EQ(listing(temp.path()), "x.json\n");
}

// SessionEnd deletes the lock file it holds while writers of the same session wait on it. Each
// reduction runs inside the lock and is watched there: never two at once, and when a SessionEnd was
// the last, no session file remains. Threads take flocks as separate processes do, each through
// its own open file.
TEST(SessionFileStore, SessionEndRacingWritersOfTheSameSession) {
    TempDir temp;
    const SessionFileStore store(temp / "sessions");
    constexpr int writers = 16, rounds = 200;
    const HookEvent::Kind kinds[] = {HookEvent::Kind::userPromptSubmit, HookEvent::Kind::stop,
                                     HookEvent::Kind::notification}; // the last one is ignored
    std::atomic<int> inside{0}, overlaps{0};
    std::mutex logLock;
    std::vector<HookEvent::Kind> log;
    const SessionFileStore::Reduce watched = [&](const std::optional<SessionState>& state,
                                                 const HookEvent& event,
                                                 const EventContext& context) {
        if (inside.fetch_add(1) != 0)
            ++overlaps;
        std::this_thread::sleep_for(20us); // long enough for an intruder to be caught
        {
            const std::lock_guard guard(logLock);
            log.push_back(*event.kind);
        }
        auto outcome = SessionReducer::reduce(state, event, context);
        inside.fetch_sub(1);
        return outcome;
    };
    int endedLast = 0;
    for (int round = 0; round < rounds; ++round) {
        log.clear();
        std::latch start(writers + 1);
        std::vector<std::thread> threads;
        threads.reserve(writers + 1);
        for (int i = 0; i < writers; ++i)
            threads.emplace_back([&, i] {
                start.arrive_and_wait();
                store.apply(event(kinds[i % 3], "s"), context, watched);
            });
        // Twice, so that a SessionEnd can also meet a writer on a lock file it deleted before.
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int end = 0; end < 2; ++end) {
                std::this_thread::sleep_for(std::chrono::microseconds(round % 7 * 50));
                store.apply(event(HookEvent::Kind::sessionEnd, "s"), context, watched);
            }
        });
        for (auto& thread : threads)
            thread.join();
        ASSERT_EQ(log.size(), std::size_t(writers + 2));
        // The last event that did something: a write, or a SessionEnd.
        const auto last = *std::find_if(log.rbegin(), log.rend(), [](HookEvent::Kind kind) {
            return kind != HookEvent::Kind::notification;
        });
        const bool ended = last == HookEvent::Kind::sessionEnd;
        endedLast += ended;
        ASSERT_EQ(fs::exists(store.fileURL("s")), !ended) << "round " << round;
        ASSERT_EQ(overlaps, 0) << "round " << round;
        fs::remove(store.fileURL("s"));
        fs::remove(store.directory() / "s.lock");
    }
    EXPECT_GT(endedLast, 0);
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
    for (const std::string& id : std::vector<std::string>{
             std::string(129, 'a'), "", "..", "a/b", "a.json", "\u00e9", std::string("a\0b", 3)}) {
        EXPECT_FALSE(SessionFileStore::isValidSessionId(id)) << id;
        try {
            store.apply(event(HookEvent::Kind::stop, id), context);
            ADD_FAILURE() << id;
        } catch (const SessionFileStoreError& error) {
            EXPECT_EQ(error, SessionFileStoreError::invalidSessionId(id));
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

TEST(SessionFileStore, RemovesOnlyOldTemporariesOfUnfinishedWrites) {
    TempDir dir;
    const SessionFileStore store(dir.path());
    for (const char* name : {"s1.json", "s1.json.tmp42", "s2.json.tmp7", "s1.lock", "x.json.tmp",
                             "x.json.tmp4a", "notes.tmp42"})
        writeText(dir / name, "{}");
    store.removeLeftovers(wallClockNow());
    EXPECT_EQ(listing(dir.path()), "notes.tmp42\ns1.json\ns1.json.tmp42\ns1.lock\ns2.json.tmp7\n"
                                   "x.json.tmp\nx.json.tmp4a\n");
    store.removeLeftovers(wallClockNow() + SessionFileStore::leftoverAge + 2s);
    EXPECT_EQ(listing(dir.path()), "notes.tmp42\ns1.json\ns1.lock\nx.json.tmp\nx.json.tmp4a\n");
}
