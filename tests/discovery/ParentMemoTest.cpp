#include "TestSupport.h"
#include "app/discovery/ClaudeSystem.h"
#include "base/ProcessTable.h"

#include <gtest/gtest.h>
#include <map>
#include <unistd.h>

using namespace ostrelvan;
using namespace ostrelvan::test;

// Every process record read is counted, so that an answer from the memo shows as no read.
TEST(ClaudeSystem, ParentsComeFromTheLatestLivenessCheck) {
    TempDir home;
    const auto config = home / "cc";
    std::optional<Process> child(std::in_place, std::vector<std::string>{"sleep", "60"});
    const pid_t pid = child->pid();
    const auto started = ProcessTable::info(pid)->startedAt;
    writeText(config / "sessions" / (std::to_string(pid) + ".json"),
              R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":"s","cwd":"/w","startedAt":)" +
                  std::to_string(started.time_since_epoch().count()) + "}");
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
