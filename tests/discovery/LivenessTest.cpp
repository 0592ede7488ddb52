#include "TestSupport.h"
#include "app/discovery/ClaudeSystem.h"
#include "base/ProcessTable.h"
#include "core/ClaudeRegistry.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
using namespace std::chrono_literals;

namespace {

ClaudeProcess record(std::int32_t pid, TimePoint startedAt) {
    return {pid, "s" + std::to_string(pid), "/w", {}, {}, {}, {}, startedAt, {}, {}};
}

} // namespace

TEST(ProcessTable, ReadsRealProcesses) {
    const TimePoint before = wallClockNow();
    TempDir dir;
    const auto odd = dir.path() / "a) b (c"; // the name field may hold both parentheses
    std::filesystem::copy_file("/bin/sleep", odd);
    Process child({odd.string(), "60"});
    const auto stat = ClaudeRegistry::readFile("/proc/" + std::to_string(child.pid()) + "/stat");
    ASSERT_NE(stat.value_or("").find(" (a) b (c) "), std::string::npos);
    const auto info = ProcessTable::info(child.pid());
    ASSERT_TRUE(info);
    EXPECT_EQ(info->parent, ::getpid());
    const auto entry = ProcessTable::entry(child.pid()); // what the hook helper reads
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "a) b (c");
    EXPECT_EQ(entry->parent, ::getpid());
    EXPECT_FALSE(info->zombie);
    // Boot time plus clock ticks lands near the wall clock (boot time is whole seconds).
    EXPECT_LT(std::chrono::abs(info->startedAt - before), 30s);
    EXPECT_TRUE(ProcessTable::isAlive(child.pid()));
    for (std::int32_t pid : {0, -1}) {
        EXPECT_FALSE(ProcessTable::info(pid) || ProcessTable::isAlive(pid)) << pid;
    }
    // pid 1 is alive whoever owns it: kill may fail with EPERM.
    EXPECT_TRUE(ProcessTable::isAlive(1));
}

TEST(ProcessTable, AZombieIsDead) {
    Process child({"true"});
    siginfo_t info{}; // wait for the exit but leave the child unreaped: a zombie
    ASSERT_EQ(::waitid(P_PID, id_t(child.pid()), &info, WEXITED | WNOWAIT), 0);
    EXPECT_TRUE(ProcessTable::exists(child.pid())); // kill(pid, 0) still answers
    const auto zombie = ProcessTable::info(child.pid());
    ASSERT_TRUE(zombie && zombie->zombie);
    EXPECT_FALSE(ProcessTable::entry(child.pid()));
    EXPECT_FALSE(ProcessTable::isAlive(child.pid()));
    EXPECT_TRUE(ClaudeSystem::liveOnly({record(child.pid(), zombie->startedAt)}).empty());
}

TEST(ClaudeSystem, KeepsRecordsOfLiveProcessesThatWroteThem) {
    Process live({"sleep", "60"});
    const auto start = ProcessTable::info(live.pid())->startedAt;
    Process gone({"true"});
    gone.wait();
    const std::vector<ClaudeProcess> records{
        record(-3, start),
        record(0, start),
        record(live.pid(), start),
        record(live.pid(), start + 119s),
        record(live.pid(), start - 119s),
        record(live.pid(), start + 5min),
        record(live.pid(), start - 5min),
        record(live.pid(), start + 120s),
        record(gone.pid(), start),
    };
    EXPECT_EQ(ClaudeSystem::liveOnly(records),
              (std::vector<ClaudeProcess>{records[2], records[3], records[4]}));
    EXPECT_FALSE(ProcessTable::info(gone.pid()));
}

TEST(ClaudeSystem, LiveReadsTheRecordsOfLiveProcesses) {
    TempDir home;
    const auto config = home.path() / "cc";
    Process live({"sleep", "60"});
    const auto started = ProcessTable::info(live.pid())->startedAt;
    Process gone({"true"});
    gone.wait();
    for (const pid_t pid : {live.pid(), gone.pid()}) {
        writeText(config / "sessions" / (std::to_string(pid) + ".json"),
                  R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":"s)" + std::to_string(pid) +
                      R"(","cwd":"/w","startedAt":)" +
                      std::to_string(started.time_since_epoch().count()) + "}");
    }
    const auto system = ClaudeSystem::live(home.path(), {{"CLAUDE_CONFIG_DIR", config.string()}});
    EXPECT_EQ(system.processes(), std::vector<ClaudeProcess>{record(live.pid(), started)});
    EXPECT_EQ(system.parent(live.pid()), ::getpid());
    for (const std::int32_t pid : {0, -1, std::int32_t(gone.pid())}) {
        EXPECT_EQ(system.parent(pid), std::nullopt) << pid;
    }
    SessionState state;
    state.sessionId = "abc";
    state.cwd = "/w";
    writeText(config / "projects" / "-w" / "abc.jsonl", R"({"type":"ai-title","aiTitle":"Hi"})");
    EXPECT_EQ(system.transcript(state), (TranscriptInfo{true, "Hi"}));
}
