#include "HookRunner.h"
#include "core/SessionCoding.h"
#include "core/SessionFileStore.h"
#include "hook/HookLog.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <latch>
#include <sstream>
#include <thread>

using namespace ostrelvan;
using namespace ostrelvan::test;
namespace fs = std::filesystem;

TEST(HookHelper, RecordsPrivatelyAndSilentlyAndPrintsOnlyHelpAndVersion) {
    HookFixture f;
    const Outcome outcome = f.run(payload(
        "PreToolUse", "s1", R"(,"tool_name":"Bash","tool_input":{"command":"go test ./..."})"));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.out, "");
    auto state = SessionFileStore::read(f.sessions() / "s1.json");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->activity, SessionActivity::runningTests);
    EXPECT_EQ(state->pid, ::getpid()); // the parent is no shell
    EXPECT_EQ(mode(f.root()), 0700u);
    EXPECT_EQ(mode(f.sessions()), 0700u);
    EXPECT_EQ(mode(f.sessions() / "s1.json"), 0600u);
    EXPECT_EQ(mode(f.sessions() / "s1.lock"), 0600u);
    EXPECT_FALSE(fs::exists(f.root() / "hook.log"));

    for (const char* argument : {"--help", "--version"}) {
        const Outcome printed = run({OSTRELVAN_HOOK_PATH, argument}, Variables{});
        EXPECT_EQ(printed.code, 0);
        EXPECT_NE(printed.out.find("ostrelvan-hook"), std::string::npos) << argument;
    }

    // Run by hand at a terminal, with nothing piped in: it says what it is instead of waiting.
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    Process byHand({OSTRELVAN_HOOK_PATH}, f.environment(), {ptsname(terminal), f.temp / "said"});
    int status = -1;
    for (int i = 0; i < 500 && ::waitpid(byHand.pid(), &status, WNOHANG) == 0; ++i)
        ::usleep(10000);
    ::close(terminal);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(readText(f.temp / "said").starts_with("ostrelvan-hook is Ostrelvan's hook helper"));
    EXPECT_FALSE(fs::exists(f.root() / "hook.log"));
}

TEST(HookHelper, AgentPidFromClaudePidOrPastShells) {
    HookFixture f;
    const std::string stop = payload("Stop", "s1");
    auto recordedPid = [&] { return SessionFileStore::read(f.sessions() / "s1.json")->pid; };
    // Through a shell that is still there when the helper looks: the walk passes it.
    run({"/bin/sh", "-c", std::string("'") + OSTRELVAN_HOOK_PATH + "'; true"}, f.environment(),
        stop);
    EXPECT_EQ(recordedPid(), ::getpid());

    // A live CLAUDE_PID wins; a dead or malformed one is passed over.
    for (auto [value, expected] :
         {std::pair<std::string, pid_t>{"1", 1}, {"99999999", ::getpid()}, {"12x", ::getpid()}}) {
        f.run(stop, {{"CLAUDE_PID", value}});
        EXPECT_EQ(recordedPid(), expected) << value;
    }
}

TEST(HookHelper, BadInputIsLoggedAndLeavesSessionsIntact) {
    HookFixture f;
    ASSERT_EQ(f.run(payload("Stop", "keep")).code, 0);
    const std::string kept = readText(f.sessions() / "keep.json");
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const std::pair<std::string, std::string> cases[] = {
        // input, the line it logs
        {"", "Payload is empty"},
        {"\xff\xfe not json", "Payload is not valid JSON"},
        {"[1,2]", "Payload is not a JSON object"},
        {R"({"session_id":"keep"})", "Missing key \"hook_event_name\""},
        {R"({"hook_event_name":"Stop"})", "Missing key \"session_id\""},
        {R"({"hook_event_name":"Stop","session_id":null})", "Key \"session_id\" is not a string"},
        {R"({"hook_event_name":"Stop","session_id":"../keep"})",
         "Stop for session ../keep: Invalid session id \"../keep\""},
        {R"({"hook_event_name":"SessionEnd","session_id":"keep/../keep"})",
         "SessionEnd for session keep/../keep: Invalid session id \"keep/../keep\""},
        {payload("Stop", "keep", ",\"x\":" + std::string(1 << 20, '[')),
         "Payload is not valid JSON"},
        {payload("Stop", "deep", ",\"x\":" + deep), ""},
        {R"({"hook_event_name":"PreToolUse","session_id":"n1","cwd":null,"tool_name":null,
            "tool_input":null,"notification_type":null,"message":null,"session_title":null,
            "background_tasks":null,"source":null})",
         ""},
        {R"({"hook_event_name":"Notification","session_id":"n2","cwd":1,"tool_name":[],
            "tool_input":"x","notification_type":{},"message":2,"session_title":true,
            "background_tasks":"x","source":[]})",
         ""}, // a notification without a usable type is ignored
        {payload("PostToolUse", "big", R"(,"tool_response":")" + std::string(10 << 20, 'x') + "\""),
         ""},
        {payload("SubagentStop", "keep"), ""},
    };
    std::string expectedLog;
    for (const auto& [input, logged] : cases) {
        const Outcome outcome = f.run(input);
        EXPECT_EQ(outcome.code, 0) << input.substr(0, 80);
        EXPECT_EQ(outcome.out, "") << input.substr(0, 80);
        if (!logged.empty())
            expectedLog += logged + "\n";
    }
    // Each line is a timestamp and the message.
    std::istringstream log(readText(f.root() / "hook.log"));
    std::string messages;
    for (std::string line; std::getline(log, line);) {
        EXPECT_TRUE(SessionCoding::parseDate(line.substr(0, line.find(' ')))) << line;
        messages += line.substr(line.find(' ') + 1) + "\n";
    }
    EXPECT_EQ(messages, expectedLog);
    EXPECT_EQ(readText(f.sessions() / "keep.json"), kept);
    for (const char* written : {"n1.json", "deep.json", "big.json"})
        EXPECT_TRUE(SessionFileStore::read(f.sessions() / written)) << written;
    EXPECT_FALSE(fs::exists(f.sessions() / "n2.json"));
    EXPECT_FALSE(fs::exists(f.sessions() / "n2.lock")); // ignored: no lock file left either
}

TEST(HookHelper, WithoutHomeOrDataFolderWritesNothing) {
    TempDir project;
    for (const char* input : {R"({"hook_event_name":"Stop","session_id":"s"})", "bad"})
        run({OSTRELVAN_HOOK_PATH}, Variables{{"PATH", "/bin"}}, input, project.path());
    EXPECT_TRUE(fs::is_empty(project.path()));
}

TEST(HookHelper, LogStaysBounded) {
    TempDir temp;
    for (int i = 0; i < 500; ++i)
        HookLog::append(temp.path(), TimePoint{}, std::string(3000, 'm'));
    for (const char* name : {"hook.log", "hook.log.1"})
        EXPECT_LT(fs::file_size(temp / name), HookLog::rotateAt + 1200u) << name;
    EXPECT_TRUE(readText(temp / "hook.log").ends_with("m...\n")); // long messages are cut
}

// Helpers that find the log full at the same moment: one rotates it, the others write to the fresh
// log instead of rotating that over the full one.
TEST(HookHelper, HelpersRotatingAtOnceKeepTheFullLog) {
    TempDir temp;
    constexpr int helpers = 16;
    const std::string full(HookLog::rotateAt, 'o');
    for (int round = 0; round < 40; ++round) {
        writeText(temp / "hook.log", full);
        std::latch start(helpers);
        std::vector<std::thread> threads;
        threads.reserve(helpers);
        for (int i = 0; i < helpers; ++i)
            threads.emplace_back([&] {
                start.arrive_and_wait();
                HookLog::append(temp.path(), TimePoint{}, "line");
            });
        for (auto& thread : threads)
            thread.join();
        ASSERT_EQ(readText(temp / "hook.log.1"), full) << "round " << round;
        const std::string fresh = readText(temp / "hook.log");
        ASSERT_EQ(std::count(fresh.begin(), fresh.end(), '\n'), helpers) << "round " << round;
    }
}
