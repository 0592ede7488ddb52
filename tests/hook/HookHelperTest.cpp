#include "HookLog.h"
#include "HookRunner.h"
#include "SessionCoding.h"
#include "SessionFileStore.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/stat.h>
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

bool exitedZero(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::vector<std::string> logLines(const fs::path& root) {
    std::vector<std::string> lines;
    std::string text = readText(root / "hook.log");
    for (std::size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1)
        lines.push_back(text.substr(start, end - start));
    return lines;
}

} // namespace

TEST(HookHelper, HelpAndVersionPrint) {
    HookFixture f;
    auto empty = f.payloadFile("");
    for (const char* argument : {"--help", "--version"}) {
        fs::remove(f.output());
        EXPECT_TRUE(exitedZero(HookProcess(empty, f.output(), f.environment(), {argument}).wait()));
        EXPECT_NE(readText(f.output()).find("ostrelvan-hook"), std::string::npos) << argument;
    }
    EXPECT_FALSE(fs::exists(f.root()));
}

TEST(HookHelper, RecordsAnEventPrivatelyAndSilently) {
    HookFixture f;
    ASSERT_TRUE(exitedZero(f.run(payload(
        "PreToolUse", "s1", R"(,"tool_name":"Bash","tool_input":{"command":"go test ./..."})"))));
    EXPECT_EQ(readText(f.output()), "");
    auto state = SessionFileStore::read(f.sessions() / "s1.json");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->activity, SessionActivity::runningTests);
    EXPECT_EQ(state->pid, static_cast<std::int32_t>(::getpid())); // the parent is no shell
    struct stat info {};
    for (const fs::path& path : {f.root(), f.sessions()}) {
        ::stat(path.c_str(), &info);
        EXPECT_EQ(info.st_mode & 0777, 0700u) << path;
    }
    for (const char* name : {"s1.json", "s1.lock"}) {
        ::stat((f.sessions() / name).c_str(), &info);
        EXPECT_EQ(info.st_mode & 0777, 0600u) << name;
    }
    EXPECT_FALSE(fs::exists(f.root() / "hook.log"));
}

TEST(HookHelper, WithoutHomeOrDataFolderWritesNothing) {
    HookFixture f;
    const fs::path project = f.temp.path() / "project";
    fs::create_directory(project);
    for (const char* input : {R"({"hook_event_name":"Stop","session_id":"s"})", "bad"}) {
        HookProcess process(f.payloadFile(input), f.output(), {{"PATH", "/usr/bin:/bin"}}, {},
                            project);
        EXPECT_EQ(process.wait(), 0);
    }
    EXPECT_TRUE(fs::is_empty(project));
}

TEST(HookHelper, AgentPidFromClaudePidOrPastShells) {
    HookFixture f;
    auto file = f.payloadFile(payload("Stop", "s1"));
    auto environment = f.environment();
    // Through a shell that stays alive until the helper ends: the walk passes it.
    std::string command =
        std::string("'") + OSTRELVAN_HOOK_PATH + "' < '" + file.string() + "'; true";
    std::vector<std::string> argv{"/bin/sh", "-c", command};
    {
        std::vector<std::string> entries;
        for (const auto& [name, value] : environment)
            entries.push_back(name + "=" + value);
        std::vector<char*> envp, args;
        for (auto& e : entries)
            envp.push_back(e.data());
        envp.push_back(nullptr);
        for (auto& a : argv)
            args.push_back(a.data());
        args.push_back(nullptr);
        pid_t pid = 0;
        ASSERT_EQ(posix_spawn(&pid, "/bin/sh", nullptr, nullptr, args.data(), envp.data()), 0);
        int status = 0;
        ::waitpid(pid, &status, 0);
    }
    EXPECT_EQ(SessionFileStore::read(f.sessions() / "s1.json")->pid, ::getpid());

    // A live CLAUDE_PID wins; a dead or malformed one is passed over.
    pid_t self = ::getpid();
    pid_t init = 1;
    for (auto [value, expected] : {std::pair<std::string, pid_t>{std::to_string(init), init},
                                   {"99999999", self},
                                   {"12x", self},
                                   {"", self}}) {
        environment["CLAUDE_PID"] = value;
        HookProcess(file, f.output(), environment).wait();
        EXPECT_EQ(SessionFileStore::read(f.sessions() / "s1.json")->pid, expected) << value;
    }
}

TEST(HookHelper, BadInputIsLoggedAndLeavesSessionsIntact) {
    HookFixture f;
    ASSERT_TRUE(exitedZero(f.run(payload("Stop", "keep"))));
    const std::string kept = readText(f.sessions() / "keep.json");

    const std::string nulls = R"({"hook_event_name":"PreToolUse","session_id":"n1","cwd":null,
        "tool_name":null,"tool_input":null,"notification_type":null,"message":null,
        "session_title":null,"background_tasks":null,"source":null})";
    const std::string wrongTypes = R"({"hook_event_name":"Notification","session_id":"n2",
        "cwd":1,"tool_name":[],"tool_input":"x","notification_type":{},"message":2,
        "session_title":true,"background_tasks":"x","source":[]})";
    std::string huge =
        payload("PostToolUse", "big",
                R"(,"tool_response":{"stdout":")" + std::string(10 << 20, 'x') + "\"}");
    struct Case {
        std::string input;
        bool logged;
    };
    const std::vector<Case> cases = {
        {"", true},
        {"\xff\xfe not json", true},
        {"[1,2]", true},
        {R"({"session_id":"keep"})", true},
        {R"({"hook_event_name":"Stop"})", true},
        {R"({"hook_event_name":"Stop","session_id":"../keep"})", true},
        {R"({"hook_event_name":"SessionEnd","session_id":"keep/../keep"})", true},
        {std::string(R"({"hook_event_name":"Stop","session_id":"keep","x":)") +
             std::string(1 << 20, '['),
         true},
        {std::string(R"({"hook_event_name":"Stop","session_id":"deep","x":)") +
             std::string(100000, '[') + std::string(100000, ']') + "}",
         false},
        {nulls, false},
        {wrongTypes, false}, // a notification without a usable type is ignored
        {huge, false},
        {payload("SubagentStop", "keep"), false},
    };
    std::size_t expectedLines = 0;
    for (const Case& c : cases) {
        fs::remove(f.output());
        EXPECT_TRUE(exitedZero(f.run(c.input))) << c.input.substr(0, 80);
        EXPECT_EQ(readText(f.output()), "") << c.input.substr(0, 80);
        expectedLines += c.logged;
        EXPECT_EQ(logLines(f.root()).size(), expectedLines) << c.input.substr(0, 80);
    }
    EXPECT_EQ(readText(f.sessions() / "keep.json"), kept);
    EXPECT_TRUE(SessionFileStore::read(f.sessions() / "n1.json"));
    EXPECT_FALSE(fs::exists(f.sessions() / "n2.json"));
    EXPECT_TRUE(SessionFileStore::read(f.sessions() / "deep.json"));
    EXPECT_EQ(SessionFileStore::read(f.sessions() / "big.json")->status, SessionStatus::working);
    for (const std::string& line : logLines(f.root()))
        EXPECT_TRUE(SessionCoding::parseDate(line.substr(0, line.find(' ')))) << line;
    EXPECT_NE(readText(f.root() / "hook.log").find("Invalid session id"), std::string::npos);
}

TEST(HookHelper, LogStaysBounded) {
    TemporaryFolder temp;
    const std::string message(3000, 'm');
    for (int i = 0; i < 500; ++i)
        HookLog::append(temp.path() / "root", TimePoint{}, message + std::to_string(i));
    auto size = [&](const char* name) { return fs::file_size(temp.path() / "root" / name); };
    EXPECT_LT(size("hook.log"), static_cast<std::uintmax_t>(HookLog::rotateAt + 1200));
    EXPECT_LT(size("hook.log.1"), static_cast<std::uintmax_t>(HookLog::rotateAt + 1200));
    std::string last = readText(temp.path() / "root" / "hook.log");
    EXPECT_EQ(last.back(), '\n');
    EXPECT_NE(last.find("..."), std::string::npos); // long messages are cut
}
