#include "HookRunner.h"
#include "SessionFileStore.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace ostrelvan;
using namespace ostrelvan::test;
namespace fs = std::filesystem;

namespace {

std::string payload(const std::string& name, const std::string& session,
                    const std::string& extra = "") {
    return R"({"hook_event_name":")" + name + R"(","session_id":")" + session +
           R"(","cwd":"/w/app")" + extra + "}";
}

// Every ".json" file in the folder decodes; counts those that did not.
int undecodable(const fs::path& folder) {
    int bad = 0;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
        if (entry.path().extension() == ".json" && !SessionFileStore::read(entry.path()))
            ++bad;
    return bad;
}

} // namespace

TEST(HookConcurrency, ManyHelpersAtOnceKeepEveryFileWholeAndOrdered) {
    HookFixture f;
    constexpr int orderedSessions = 4;
    constexpr int eventsPerSession = 24;
    constexpr int burst = 48;

    // Payload files first, so that the threads below only start processes.
    const char* cycle[] = {"UserPromptSubmit", "PreToolUse",    "PermissionRequest",
                           "PostToolUse",      "SubagentStart", "Stop"};
    std::vector<std::vector<fs::path>> sequences(orderedSessions);
    for (int s = 0; s < orderedSessions; ++s)
        for (int e = 0; e < eventsPerSession; ++e) {
            std::string extra =
                R"(,"tool_name":"Bash","tool_input":{"command":"step )" + std::to_string(e) + "\"}";
            if (e == eventsPerSession - 1)
                extra += R"(,"background_tasks":[)" +
                         std::string(s > 0 ? R"({"status":"running"})" : "") + "]";
            sequences[s].push_back(
                f.payloadFile(payload(cycle[e % 6], "s" + std::to_string(s), extra)));
        }
    std::vector<fs::path> burstFiles;
    for (int i = 0; i < burst; ++i)
        burstFiles.push_back(
            f.payloadFile(payload(i % 2 ? "PreToolUse" : "PostToolUse", "shared")));
    fs::create_directories(f.sessions());

    std::atomic<bool> done{false};
    std::atomic<int> polls{0}, failures{0};
    std::thread reader([&] {
        while (!done) {
            failures += undecodable(f.sessions());
            ++polls;
        }
    });

    std::vector<std::thread> senders;
    for (int s = 0; s < orderedSessions; ++s)
        senders.emplace_back([&, s] {
            for (const fs::path& file : sequences[s])
                HookProcess(file, f.output(), f.environment()).wait();
        });
    std::vector<HookProcess> started;
    for (const fs::path& file : burstFiles)
        started.emplace_back(file, f.output(), f.environment());
    for (HookProcess& process : started)
        EXPECT_EQ(process.wait(), 0);
    for (std::thread& sender : senders)
        sender.join();
    done = true;
    reader.join();

    EXPECT_EQ(failures, 0);
    EXPECT_GT(polls, 0);
    EXPECT_EQ(undecodable(f.sessions()), 0);
    EXPECT_EQ(fs::file_size(f.output()), 0u);
    EXPECT_FALSE(fs::exists(f.root() / "hook.log"));
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(f.sessions()))
        names.insert(entry.path().filename().string());
    std::set<std::string> expected{"shared.json", "shared.lock"};
    for (int s = 0; s < orderedSessions; ++s) {
        expected.insert("s" + std::to_string(s) + ".json");
        expected.insert("s" + std::to_string(s) + ".lock");
    }
    EXPECT_EQ(names, expected); // no temporary file remains

    for (int s = 0; s < orderedSessions; ++s) {
        auto state = SessionFileStore::read(f.sessions() / ("s" + std::to_string(s) + ".json"));
        ASSERT_TRUE(state);
        EXPECT_EQ(state->status, SessionStatus::awaitingReview);
        EXPECT_EQ(state->backgroundTasks, s > 0 ? 1 : 0);
        EXPECT_EQ(state->activity, SessionActivity::runningAgents);
        EXPECT_FALSE(state->pendingApproval);
        EXPECT_TRUE(state->approvalResolvedAt);
    }
    EXPECT_EQ(SessionFileStore::read(f.sessions() / "shared.json")->status, SessionStatus::working);
}

// A helper killed while its temporary file exists (after the open, before the rename) leaves the
// session file as it was or as it became, never half written. A large title makes the write take
// long enough to be caught in the middle.
TEST(HookCrashSafety, SigkillDuringAWriteLeavesAWholeFile) {
    HookFixture f;
    ASSERT_EQ(f.run(payload("Stop", "s1", R"(,"session_title":"old")")), 0);
    const std::string old = readText(f.sessions() / "s1.json");
    const std::string bigTitle(8 << 20, 't');
    const fs::path big =
        f.payloadFile(payload("Stop", "s1", R"(,"session_title":")" + bigTitle + "\""));

    int caught = 0;
    for (int attempt = 0; attempt < 20 && caught < 2; ++attempt) {
        HookProcess process(big, f.output(), f.environment());
        const fs::path temporary = f.sessions() / ("s1.json.tmp" + std::to_string(process.pid()));
        bool seen = false;
        int status = 0;
        // Poll until the temporary file appears or the helper ends on its own.
        while (!seen) {
            if (fs::exists(temporary)) {
                ::kill(process.pid(), SIGKILL);
                seen = true;
            } else if (::waitpid(process.pid(), &status, WNOHANG) == process.pid()) {
                break;
            }
        }
        if (seen) {
            status = process.wait();
            if (WIFSIGNALED(status))
                ++caught;
        }
        auto state = SessionFileStore::read(f.sessions() / "s1.json");
        ASSERT_TRUE(state) << "attempt " << attempt;
        EXPECT_TRUE(state->title == "old" || state->title == bigTitle);
        // Start again from the old file for the next attempt.
        writeText(f.sessions() / "s1.json", old);
    }
    EXPECT_GE(caught, 1);

    // The kernel dropped the dead helper's lock: the next event goes through.
    ASSERT_EQ(f.run(payload("UserPromptSubmit", "s1")), 0);
    EXPECT_EQ(SessionFileStore::read(f.sessions() / "s1.json")->status, SessionStatus::working);
}
