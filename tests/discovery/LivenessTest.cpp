#include "ClaudeRegistry.h"
#include "ClaudeSystem.h"
#include "ProcessTable.h"
#include "TempDir.h"

#include <csignal>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using namespace ostrelvan;
using namespace std::chrono_literals;

namespace {

// A real child process, killed and reaped at the end of the test.
class Child {
public:
    explicit Child(std::vector<std::string> argv) {
        std::vector<char*> args;
        for (auto& a : argv) {
            args.push_back(a.data());
        }
        args.push_back(nullptr);
        if (::posix_spawnp(&pid_, args[0], nullptr, nullptr, args.data(), environ) != 0) {
            throw std::runtime_error("spawn failed");
        }
    }
    ~Child() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }
    // Blocks until the child has exited but leaves it unreaped: a zombie.
    void waitUntilZombie() const {
        siginfo_t info{};
        ASSERT_EQ(::waitid(P_PID, id_t(pid_), &info, WEXITED | WNOWAIT), 0);
    }
    void reap() {
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
};

ClaudeProcess record(std::int32_t pid, TimePoint startedAt) {
    ClaudeProcess p;
    p.pid = pid;
    p.sessionId = "s" + std::to_string(pid) + "_" +
                  std::to_string(startedAt.time_since_epoch().count() % 1000000);
    p.cwd = "/w";
    p.startedAt = startedAt;
    return p;
}

std::string recordJson(const ClaudeProcess& p) {
    return R"({"pid":)" + std::to_string(p.pid) + R"(,"sessionId":")" + p.sessionId +
           R"(","cwd":"/w","version":"2.1.140","startedAt":)" +
           std::to_string(p.startedAt.time_since_epoch().count()) + "}";
}

} // namespace

TEST(ProcessTable, ReadsLiveProcesses) {
    const TimePoint before = wallClockNow();
    Child child({"sleep", "60"});
    const auto info = ProcessTable::info(child.pid());
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pid, child.pid());
    EXPECT_EQ(info->parent, ::getpid());
    EXPECT_FALSE(info->zombie);
    // Boot time plus clock ticks lands near the wall clock (boot time is whole seconds).
    EXPECT_LT(std::chrono::abs(info->startedAt - before), 30s);
    EXPECT_TRUE(ProcessTable::isAlive(child.pid()));

    for (std::int32_t pid : {0, -1, -4242}) {
        EXPECT_FALSE(ProcessTable::info(pid)) << pid;
        EXPECT_FALSE(ProcessTable::isAlive(pid)) << pid;
    }
    // pid 1 is alive whoever owns it: kill may fail with EPERM.
    EXPECT_TRUE(ProcessTable::isAlive(1));
    if (::getuid() != 0) {
        EXPECT_NE(::kill(1, 0), 0);
        EXPECT_EQ(errno, EPERM);
    }
}

TEST(ProcessTable, ReadsACommandNameWithSpacesAndParentheses) {
    TempDir dir;
    const auto odd = dir.path() / "a) b (c";
    std::filesystem::copy_file("/bin/sleep", odd);
    Child child({odd.string(), "60"});
    const auto stat = ClaudeRegistry::readFile("/proc/" + std::to_string(child.pid()) + "/stat");
    ASSERT_TRUE(stat);
    ASSERT_NE(stat->find(" (a) b (c) "), std::string::npos) << *stat;
    const auto info = ProcessTable::info(child.pid());
    ASSERT_TRUE(info);
    EXPECT_EQ(info->startedAt, ProcessTable::info(child.pid())->startedAt);
    EXPECT_EQ(info->parent, ::getpid());
    EXPECT_FALSE(info->zombie);
}

TEST(ProcessTable, AZombieIsDead) {
    Child child({"true"});
    child.waitUntilZombie();
    EXPECT_TRUE(ProcessTable::exists(child.pid())); // kill(pid, 0) still answers
    const auto info = ProcessTable::info(child.pid());
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->zombie);
    EXPECT_FALSE(ProcessTable::isAlive(child.pid()));
    EXPECT_TRUE(ClaudeSystem::liveOnly({record(child.pid(), info->startedAt)}).empty());
    child.reap();
}

TEST(ClaudeSystem, LivenessFilter) {
    Child live({"sleep", "60"});
    const auto start = ProcessTable::info(live.pid())->startedAt;
    Child gone({"true"});
    const std::int32_t gonePid = gone.pid();
    gone.reap();

    const std::vector<ClaudeProcess> records{
        record(-3, start),
        record(0, start),
        record(live.pid(), start),
        record(live.pid(), start + 119s),
        record(live.pid(), start - 119s),
        record(live.pid(), start + 5min),
        record(live.pid(), start - 5min),
        record(live.pid(), start + 120s),
        record(gonePid, start),
    };
    const auto kept = ClaudeSystem::liveOnly(records);
    EXPECT_EQ(kept, (std::vector<ClaudeProcess>{records[2], records[3], records[4]}));
    EXPECT_FALSE(ProcessTable::info(gonePid));
}

TEST(ClaudeSystem, LiveReadsTheRegistryOfTheConfigFolder) {
    TempDir home;
    const auto config = home.path() / "cc";
    Child live({"sleep", "60"});
    const auto liveRecord = record(live.pid(), ProcessTable::info(live.pid())->startedAt);
    Child gone({"true"});
    const auto goneRecord = record(gone.pid(), wallClockNow());
    gone.reap();
    writeFile(config / "sessions" / (std::to_string(live.pid()) + ".json"), recordJson(liveRecord));
    writeFile(config / "sessions" / (std::to_string(gone.pid()) + ".json"), recordJson(goneRecord));

    const auto system = ClaudeSystem::live(home.path(), {{"CLAUDE_CONFIG_DIR", config.string()}});
    EXPECT_EQ(system.processes(), std::vector<ClaudeProcess>{liveRecord});
    EXPECT_EQ(system.parent(live.pid()), ::getpid());
    EXPECT_EQ(system.parent(0), std::nullopt);
    EXPECT_EQ(system.parent(-1), std::nullopt);
    EXPECT_EQ(system.parent(gone.pid()), std::nullopt);

    SessionState state;
    state.sessionId = "abc";
    state.cwd = "/w";
    EXPECT_EQ(system.transcript(state), TranscriptInfo{});
    writeFile(config / "projects" / "-w" / "abc.jsonl", R"({"type":"ai-title","aiTitle":"Hi"})");
    // A failed search is repeated only after a minute of the wall clock.
    EXPECT_EQ(system.transcript(state), TranscriptInfo{});

    const auto none = ClaudeSystem::none();
    EXPECT_TRUE(none.processes().empty());
    EXPECT_EQ(none.parent(live.pid()), std::nullopt);
    EXPECT_EQ(none.transcript(state), TranscriptInfo{});
}
