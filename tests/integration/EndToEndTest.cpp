// `ostrelvan connect` into a temporary home, then a whole session's events delivered the way Claude
// Code delivers them: the exact command written into settings.json, run by /bin/sh -c with the
// payload on standard input, and `ostrelvan status --json` after each step.
#include "HookInstaller.h"
#include "TestFiles.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::readBytes;
using testing::TempDir;
using testing::writeBytes;

struct Outcome {
    int code = -1;
    std::string out;
    std::string err;
};

// Runs a program to its end with `input` on standard input and only `environment` around it.
Outcome run(const TempDir& scratch, std::vector<std::string> argv,
            const std::map<std::string, std::string>& environment, const std::string& input = {}) {
    static int counter = 0;
    const std::string stem = (scratch / ("run" + std::to_string(++counter))).string();
    writeBytes(stem + ".in", input);
    std::vector<std::string> entries;
    for (const auto& [name, value] : environment)
        entries.push_back(name + "=" + value);
    std::vector<char*> envp;
    for (auto& entry : entries)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    std::vector<char*> args;
    for (auto& argument : argv)
        args.push_back(argument.data());
    args.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, (stem + ".in").c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, (stem + ".out").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, (stem + ".err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    const int error = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        return {};
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readBytes(stem + ".out"),
            readBytes(stem + ".err")};
}

// A live process standing in for the Claude Code agent.
class Agent {
public:
    Agent() {
        char sleep[] = "/bin/sleep";
        char seconds[] = "600";
        char* argv[] = {sleep, seconds, nullptr};
        posix_spawn(&pid_, sleep, nullptr, nullptr, argv, environ);
    }
    ~Agent() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = 0;
};

class EndToEnd : public ::testing::Test {
protected:
    TempDir root;
    fs::path home = root / "home";
    fs::path data = root / "data/Ostrelvan";
    fs::path settingsFile = home / ".claude/settings.json";
    fs::path project = root / "work/shop";

    std::map<std::string, std::string> environment() const {
        return {{"HOME", home.string()},
                {"OSTRELVAN_DATA_DIR", data.string()},
                {"PATH", "/usr/bin:/bin"},
                {"NO_COLOR", "1"},
                {"LANG", "C.UTF-8"}};
    }

    Outcome ostrelvan(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OSTRELVAN_EXECUTABLE);
        return run(root, arguments, environment());
    }

    std::optional<json> shown(const std::string& sessionId) {
        const Outcome status = ostrelvan({"status", "--json"});
        EXPECT_EQ(status.code, 0) << status.err;
        const json document = json::parse(status.out, nullptr, false);
        EXPECT_TRUE(document.is_object()) << status.out;
        if (!document.is_object())
            return std::nullopt;
        for (const auto& group : document["groups"])
            for (const auto& session : group["sessions"])
                if (session["sessionId"] == sessionId)
                    return session;
        return std::nullopt;
    }
};

TEST_F(EndToEnd, aWholeSessionThroughTheInstalledHooks) {
    const std::string userSettings = R"json({
  "permissions": {"allow": ["Bash(npm test:*)"]},
  "hooks": {
    "Stop" : [ {"hooks" : [ {"type" : "command", "command" : "true"} ]} ]
}
})json";
    writeBytes(settingsFile, userSettings);
    fs::create_directories(project);

    const Outcome before = ostrelvan({"status"});
    EXPECT_NE(before.out.find("Not connected to Claude Code"), std::string::npos) << before.out;

    const Outcome connect = ostrelvan({"connect"});
    ASSERT_EQ(connect.code, 0) << connect.err;
    EXPECT_EQ(connect.err, "");
    const fs::path helper = data / "bin/ostrelvan-hook";
    EXPECT_NE(connect.out.find("Installed the hook helper at " + helper.string()),
              std::string::npos)
        << connect.out;
    EXPECT_NE(connect.out.find(settingsFile.string() + ".ostrelvan-backup"), std::string::npos);
    EXPECT_EQ(fs::status(helper).permissions() & fs::perms::mask, fs::perms(0755));
    EXPECT_EQ(readBytes(helper), readBytes(OSTRELVAN_HOOK));

    const json settings = HookInstaller::readSettings(settingsFile);
    ASSERT_TRUE(HookInstaller::isInstalled(settings, helper.string()));
    EXPECT_EQ(settings["hooks"]["Stop"][0]["hooks"][0]["command"], "true");
    const std::string command = settings["hooks"]["Stop"].back()["hooks"][0]["command"];
    EXPECT_EQ(command, "\"" + helper.string() + "\"");
    for (const auto& event : HookInstaller::events)
        EXPECT_EQ(settings["hooks"][std::string(event.name)].back()["hooks"][0]["command"],
                  command);
    const Outcome quiet = ostrelvan({"status"});
    EXPECT_EQ(quiet.out.find("Not connected"), std::string::npos) << quiet.out;
    EXPECT_EQ(quiet.out.find("Warning"), std::string::npos) << quiet.out;

    // Claude Code's own record of the agent process, so the session counts as live.
    Agent agent;
    const std::string sessionId = "6f1c2d3e-4a5b-4c6d-8e9f-0a1b2c3d4e5f";
    const auto nowMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count();
    writeBytes(home / ".claude/sessions" / (std::to_string(agent.pid()) + ".json"),
               json{{"pid", agent.pid()},
                    {"sessionId", sessionId},
                    {"cwd", project.string()},
                    {"kind", "interactive"},
                    {"entrypoint", "cli"},
                    {"status", "busy"},
                    {"startedAt", nowMs}}
                   .dump());

    auto hookEnvironment = environment();
    hookEnvironment["CLAUDE_PID"] = std::to_string(agent.pid());
    hookEnvironment["CLAUDE_CODE_ENTRYPOINT"] = "cli";
    hookEnvironment["CLAUDE_PROJECT_DIR"] = project.string();
    const json base = {
        {"session_id", sessionId},
        {"transcript_path", (home / ".claude/projects/shop" / sessionId).string() + ".jsonl"},
        {"cwd", project.string()}};
    const json bash = {{"tool_name", "Bash"}, {"tool_input", {{"command", "npm test"}}}};

    struct Step {
        std::string event;
        json fields;
        std::optional<std::string> status; // none: not shown
        std::optional<std::string> activity = std::nullopt;
        std::optional<std::string> statusLine = std::nullopt;
    };
    const std::vector<Step> steps = {
        {"SessionStart", {{"source", "startup"}}, std::nullopt, std::nullopt},
        {"UserPromptSubmit", {{"prompt", "run the tests"}}, "working", std::nullopt},
        {"PreToolUse", bash, "working", "runningTests"},
        {"PermissionRequest", bash, "needsApproval", std::nullopt, "Needs approval · npm test"},
        {"PostToolUse", bash, "working", std::nullopt},
        {"Stop", {{"stop_hook_active", false}}, "awaitingReview", std::nullopt},
        {"SessionEnd", {{"reason", "prompt_input_exit"}}, std::nullopt, std::nullopt},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.event);
        json payload = base;
        payload.update(step.fields);
        payload["hook_event_name"] = step.event;
        const Outcome hook = run(root, {"/bin/sh", "-c", command}, hookEnvironment, payload.dump());
        EXPECT_EQ(hook.code, 0);
        EXPECT_EQ(hook.out, "");

        const auto session = shown(sessionId);
        ASSERT_EQ(session.has_value(), step.status.has_value()) << (session ? session->dump() : "");
        if (!session)
            continue;
        EXPECT_EQ((*session)["status"], *step.status) << session->dump();
        EXPECT_EQ((*session)["pid"], agent.pid());
        EXPECT_EQ((*session)["folder"], project.string());
        EXPECT_FALSE((*session)["statusLine"].get<std::string>().empty());
        if (step.activity) {
            EXPECT_EQ((*session)["activity"], *step.activity);
        }
        if (step.statusLine) {
            EXPECT_EQ((*session)["statusLine"], *step.statusLine);
        }
    }
    EXPECT_FALSE(fs::exists(data / "sessions" / (sessionId + ".json")));

    const Outcome disconnect = ostrelvan({"disconnect"});
    ASSERT_EQ(disconnect.code, 0) << disconnect.err;
    EXPECT_EQ(HookInstaller::readSettings(settingsFile), json::parse(userSettings));
    EXPECT_TRUE(fs::exists(helper));
    const Outcome after = ostrelvan({"status"});
    EXPECT_NE(after.out.find("Not connected to Claude Code"), std::string::npos) << after.out;
}

} // namespace
} // namespace ostrelvan
