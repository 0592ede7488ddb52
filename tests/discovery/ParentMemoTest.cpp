#include "ClaudeSystem.h"
#include "ProcessTable.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace ostrelvan;
using namespace ostrelvan::test;

TEST(ClaudeSystem, ParentsComeFromTheLatestLivenessCheck) {
    TempDir home;
    const auto config = home / "cc";
    std::optional<Process> child(std::in_place, std::vector<std::string>{"sleep", "60"});
    const pid_t pid = child->pid();
    const auto started = ProcessTable::info(pid)->startedAt;
    writeText(config / "sessions" / (std::to_string(pid) + ".json"),
              R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":"s","cwd":"/w","startedAt":)" +
                  std::to_string(started.time_since_epoch().count()) + "}");
    const auto system = ClaudeSystem::live(home.path(), {{"CLAUDE_CONFIG_DIR", config.string()}});

    ASSERT_EQ(system.processes().size(), 1u);
    EXPECT_EQ(system.parent(::getpid()), ::getppid()); // outside the registry: asked directly
    EXPECT_EQ(system.processes().size(), 1u);          // known to run: not read again
    ::kill(pid, SIGKILL);
    siginfo_t exited{}; // left unreaped: a zombie, whose pid is not free yet
    ASSERT_EQ(::waitid(P_PID, id_t(pid), &exited, WEXITED | WNOWAIT), 0);
    EXPECT_TRUE(system.processes().empty());
    child.reset(); // reaped: only the latest liveness check still knows its parent
    EXPECT_EQ(system.parent(pid), ::getpid());
    EXPECT_TRUE(system.processes().empty());
    EXPECT_EQ(system.parent(pid), std::nullopt);
}
