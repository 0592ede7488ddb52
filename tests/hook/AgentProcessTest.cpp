#include "hook/AgentProcess.h"

#include <gtest/gtest.h>
#include <map>

using namespace ostrelvan;

namespace {

// A fake process table: pid -> (name, parent).
struct Table {
    std::map<std::int32_t, std::pair<const char*, std::int32_t>> rows;

    std::optional<AgentProcess::Entry> operator()(std::int32_t pid) const {
        auto it = rows.find(pid);
        if (it == rows.end())
            return std::nullopt;
        return AgentProcess::Entry{it->second.first, it->second.second};
    }
};

} // namespace

TEST(AgentProcess, FindsTheAgent) {
    const Table table{{{1, {"systemd", 0}},
                       {100, {"claude", 1}},
                       {200, {"zsh", 100}},
                       {300, {"bash", 200}},
                       {400, {"dash", 300}},
                       {500, {"sh", 400}},
                       {600, {"node", 500}},
                       {700, {"sh", 1}},
                       {800, {"sh", 999}}}};
    // The environment, the helper's parent, and the agent found.
    const std::tuple<Environment, std::int32_t, std::optional<std::int32_t>> cases[] = {
        {{}, 500, 100},                       // past every kind of shell
        {{}, 600, 600},                       // the parent is no shell
        {{{"CLAUDE_PID", "600"}}, 500, 600},  // a live CLAUDE_PID wins
        {{{"CLAUDE_PID", "-600"}}, 500, 100}, // a malformed one is passed over
        {{{"CLAUDE_PID", "99999999999"}}, 500, 100},
        {{}, 700, std::nullopt}, // the shell was reparented to init
        {{}, 1, std::nullopt},
        {{}, 800, std::nullopt}, // a gap in the table
        {{}, 999, std::nullopt},
    };
    for (const auto& [environment, parent, agent] : cases)
        EXPECT_EQ(AgentProcess::find(environment, parent, table), agent) << parent;

    // A cycle in the table ends the walk.
    const Table loop{{{10, {"sh", 11}}, {11, {"bash", 10}}}};
    EXPECT_EQ(AgentProcess::find({}, 10, loop), std::nullopt);
}
