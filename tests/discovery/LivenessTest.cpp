#include "TestSupport.h"
#include "app/discovery/ClaudeSystem.h"
#include "base/ProcessTable.h"
#include "core/ClaudeRegistry.h"

#include <gtest/gtest.h>
#include <map>
#include <unistd.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
using namespace std::chrono_literals;

namespace {

ClaudeProcess record(std::int32_t pid, TimePoint startedAt) {
    return {pid, "s" + std::to_string(pid), "/w", {}, {}, {}, {}, startedAt, {}, {}};
}

// Claude Code's record of an agent process in its folder `config`.
void writeRecord(const Path& config, pid_t pid, const std::string& sessionId, TimePoint started) {
    writeText(config / "sessions" / (std::to_string(pid) + ".json"),
              R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":")" + sessionId +
                  R"(","cwd":"/w","startedAt":)" +
                  std::to_string(started.time_since_epoch().count()) + "}");
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
    for (std::int32_t pid : {0, -1})
        EXPECT_FALSE(ProcessTable::info(pid) || ProcessTable::isAlive(pid)) << pid;
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

TEST(ClaudeSystem, LiveKeepsTheRecordsOfLiveProcessesThatWroteThem) {
    TempDir home;
    const auto config = home.path() / "cc";
    Process live({"sleep", "60"});
    const auto started = ProcessTable::info(live.pid())->startedAt;
    Process gone({"true"});
    gone.wait();
    EXPECT_FALSE(ProcessTable::info(gone.pid()));
    // Another process that took the pid started more than two minutes away from the record.
    std::vector<ClaudeProcess> records{record(-3, started), record(0, started),
                                       record(gone.pid(), started)};
    for (const auto offset : {0s, 119s, -119s, 300s, -300s, 120s})
        records.push_back(record(live.pid(), started + offset));
    EXPECT_EQ(ClaudeSystem::liveOnly(records),
              (std::vector<ClaudeProcess>{records[3], records[4], records[5]}));

    for (const pid_t pid : {live.pid(), gone.pid()})
        writeRecord(config, pid, "s" + std::to_string(pid), started);
    const auto system = ClaudeSystem::live(home.path(), {{"CLAUDE_CONFIG_DIR", config.string()}});
    EXPECT_EQ(system.processes(), std::vector<ClaudeProcess>{record(live.pid(), started)});
    EXPECT_EQ(system.parent(live.pid()), ::getpid());
    for (const std::int32_t pid : {0, -1, std::int32_t(gone.pid())})
        EXPECT_EQ(system.parent(pid), std::nullopt) << pid;
    SessionState state;
    state.sessionId = "abc";
    state.cwd = "/w";
    writeText(config / "projects" / "-w" / "abc.jsonl", R"({"type":"ai-title","aiTitle":"Hi"})");
    EXPECT_EQ(system.transcript(state), (TranscriptInfo{true, "Hi"}));
}

// Every process record read is counted, so that an answer from the memo shows as no read.
TEST(ClaudeSystem, ParentsComeFromTheLatestLivenessCheck) {
    TempDir home;
    const auto config = home / "cc";
    std::optional<Process> child(std::in_place, std::vector<std::string>{"sleep", "60"});
    const pid_t pid = child->pid();
    const auto started = ProcessTable::info(pid)->startedAt;
    writeRecord(config, pid, "s", started);
    std::map<std::int32_t, int> reads;
    const auto system = ClaudeSystem::live(home.path(), {{"CLAUDE_CONFIG_DIR", config.string()}},
                                           [&reads](std::int32_t read) {
                                               ++reads[read];
                                               return ProcessTable::info(read);
                                           });

    ASSERT_EQ(system.processes().size(), 1u);
    EXPECT_EQ(system.parent(pid), ::getpid()); // from the liveness check
    EXPECT_EQ(reads, (std::map<std::int32_t, int>{{pid, 1}}));
    EXPECT_EQ(system.parent(::getpid()), ::getppid()); // outside the registry: read
    EXPECT_EQ(system.processes().size(), 1u);          // known to run: not read again
    EXPECT_EQ(reads, (std::map<std::int32_t, int>{{pid, 1}, {::getpid(), 1}}));

    ::kill(pid, SIGKILL);
    siginfo_t exited{}; // left unreaped: a zombie, whose pid is not free yet
    ASSERT_EQ(::waitid(P_PID, id_t(pid), &exited, WEXITED | WNOWAIT), 0);
    EXPECT_TRUE(system.processes().empty()); // its handle tells of the exit: read again
    EXPECT_EQ(reads[pid], 2);
    child.reset(); // reaped: only the latest liveness check still knows its parent
    EXPECT_EQ(system.parent(pid), ::getpid());
    EXPECT_EQ(reads[pid], 2);
    EXPECT_TRUE(system.processes().empty());
    EXPECT_EQ(system.parent(pid), std::nullopt);
}
