#include "HookRunner.h"
#include "base/FileSystem.h"
#include "core/SessionCoding.h"
#include "core/SessionFileStore.h"
#include "hook/AgentProcess.h"
#include "hook/HookLog.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <latch>
#include <map>
#include <sstream>
#include <sys/wait.h>
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
    const std::optional<int> status = byHand.waitFor(std::chrono::seconds(10));
    ::close(terminal);
    ASSERT_TRUE(status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0);
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
    EXPECT_EQ(f.logged(), expectedLog);
    // Each line starts with the time.
    std::istringstream log(readText(f.root() / "hook.log"));
    for (std::string line; std::getline(log, line);)
        EXPECT_TRUE(SessionCoding::parseDate(line.substr(0, line.find(' ')))) << line;
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

TEST(HookConcurrency, ManyHelpersAtOnceKeepEveryFileWhole) {
    HookFixture f;
    constexpr int sessions = 4, eventsPerSession = 24, burst = 48;
    int files = 0;
    const auto payloadFile = [&](const std::string& bytes) {
        const Path path = f.temp / ("payload" + std::to_string(files++));
        writeText(path, bytes);
        return Streams{path, f.temp / "stdout"};
    };
    // Sessions s0..s3 each get their events one helper at a time, all four at once and alongside
    // a burst of helpers started together on one shared session, while a reader decodes every
    // file it finds: no reader ever catches a file half written, and nothing is left behind.
    const char* cycle[] = {"UserPromptSubmit", "PreToolUse",    "PermissionRequest",
                           "PostToolUse",      "SubagentStart", "Stop"};
    std::vector<std::vector<Streams>> sequences(sessions);
    for (int s = 0; s < sessions; ++s)
        for (int e = 0; e < eventsPerSession; ++e)
            sequences[s].push_back(payloadFile(
                payload(cycle[e % 6], std::string("s").append(std::to_string(s)),
                        R"(,"tool_name":"Bash","tool_input":{"command":"step )" +
                            std::to_string(e) + R"("},"background_tasks":[)" +
                            std::string(s > 0 ? R"({"status":"running"})" : "") + "]")));
    std::vector<Streams> burstFiles;
    for (int i = 0; i < burst; ++i)
        burstFiles.push_back(payloadFile(payload(i % 2 ? "PreToolUse" : "PostToolUse", "shared")));
    fs::create_directories(f.sessions());

    std::atomic<bool> done{false};
    std::atomic<int> undecodable{0};
    std::thread reader([&] {
        while (!done)
            for (const auto& entry : fs::directory_iterator(f.sessions()))
                if (entry.path().extension() == ".json" && !SessionFileStore::read(entry.path()))
                    ++undecodable;
    });
    std::vector<std::thread> senders;
    for (int s = 0; s < sessions; ++s)
        senders.emplace_back([&, s] {
            for (const Streams& streams : sequences[s])
                Process({OSTRELVAN_HOOK_PATH}, f.environment(), streams).wait();
        });
    std::vector<Process> started;
    for (const Streams& streams : burstFiles)
        started.emplace_back(std::vector<std::string>{OSTRELVAN_HOOK_PATH}, f.environment(),
                             streams);
    for (Process& process : started)
        EXPECT_EQ(process.wait(), 0);
    for (std::thread& sender : senders)
        sender.join();
    done = true;
    reader.join();

    EXPECT_EQ(undecodable, 0);
    EXPECT_EQ(readText(f.temp / "stdout"), "");
    EXPECT_FALSE(fs::exists(f.root() / "hook.log"));
    EXPECT_EQ(listing(f.sessions()), // no temporary file remains
              "s0.json\ns0.lock\ns1.json\ns1.lock\ns2.json\ns2.lock\ns3.json\ns3.lock\n"
              "shared.json\nshared.lock\n");
    for (int s = 0; s < sessions; ++s) {
        auto state = SessionFileStore::read(
            f.sessions() / (std::string("s").append(std::to_string(s)).append(".json")));
        ASSERT_TRUE(state);
        EXPECT_EQ(state->status, SessionStatus::awaitingReview); // the last event was a Stop
        EXPECT_EQ(state->backgroundTasks, s > 0 ? 1 : 0);
    }
    EXPECT_EQ(SessionFileStore::read(f.sessions() / "shared.json")->status, SessionStatus::working);
}

// The real helper waits while another holds the session's lock (here the test, as a second
// helper would), and completes its write once the lock is let go.
TEST(HookConcurrency, AHelperWaitsForTheSessionsLock) {
    HookFixture f;
    fs::create_directories(f.sessions());
    const Path event = f.temp / "event";
    writeText(event, payload("UserPromptSubmit", "held", R"(,"prompt":"go")"));
    auto held = FileSystem::openLocked(f.sessions() / "held.lock", O_RDWR | O_CREAT, true);
    ASSERT_TRUE(held.isOpen());

    Process helper({OSTRELVAN_HOOK_PATH}, f.environment(), Streams{event, f.temp / "stdout"});
    // However long it is given, it must not get past the lock; a few tenths of a second show a
    // helper that ignores it.
    EXPECT_FALSE(helper.waitFor(std::chrono::milliseconds(400))) << "the helper did not wait";
    EXPECT_FALSE(fs::exists(f.sessions() / "held.json"));

    held.reset();
    EXPECT_EQ(helper.wait(), 0);
    const auto state = SessionFileStore::read(f.sessions() / "held.json");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->status, SessionStatus::working);
    EXPECT_EQ(readText(f.temp / "stdout"), "");
}

// A helper killed while its temporary file exists (after the open, before the replace) leaves
// the session file as it was or as it became, never half written. A large title makes the write
// take long enough to be caught in the middle.
TEST(HookCrashSafety, SigkillDuringAWriteLeavesAWholeFile) {
    HookFixture f;
    ASSERT_EQ(f.run(payload("Stop", "s1", R"(,"session_title":"old")")).code, 0);
    const std::string old = readText(f.sessions() / "s1.json");
    const std::string title(8 << 20, 't');
    writeText(f.temp / "big", payload("Stop", "s1", R"(,"session_title":")" + title + "\""));

    int caught = 0;
    for (int attempt = 0; attempt < 20 && caught < 2; ++attempt) {
        Process process({OSTRELVAN_HOOK_PATH}, f.environment(), {f.temp / "big"});
        const fs::path temporary = f.sessions() / ("s1.json.tmp" + std::to_string(process.pid()));
        siginfo_t exited{}; // without reaping, so that the process can still be waited for
        while (::waitid(P_PID, id_t(process.pid()), &exited, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               exited.si_pid == 0)
            if (fs::exists(temporary)) {
                ::kill(process.pid(), SIGKILL);
                caught += WIFSIGNALED(process.wait());
                break;
            }
        auto state = SessionFileStore::read(f.sessions() / "s1.json");
        ASSERT_TRUE(state) << "attempt " << attempt;
        EXPECT_TRUE(state->title == "old" || state->title == title);
        writeText(f.sessions() / "s1.json", old);
    }
    EXPECT_GE(caught, 1);
    // The kernel dropped the dead helper's lock: the next event goes through.
    ASSERT_EQ(f.run(payload("UserPromptSubmit", "s1")).code, 0);
    EXPECT_EQ(SessionFileStore::read(f.sessions() / "s1.json")->status, SessionStatus::working);
}

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
        {{{"CLAUDE_PID", "-600"}}, 500, 100}, // a malformed one is passed over
        {{}, 700, std::nullopt},              // the shell was reparented to init
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
