#include "HookRunner.h"
#include "base/FileSystem.h"
#include "core/SessionFileStore.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>

using namespace ostrelvan;
using namespace ostrelvan::test;
namespace fs = std::filesystem;

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
