// `ostrelvan connect` into a temporary home, then a whole session's events delivered the way Claude
// Code delivers them: the exact command written into settings.json, run by /bin/sh -c with the
// payload on standard input, and `ostrelvan status --json` after each step.
#include "HookInstaller.h"
#include "TestSupport.h"

#include <chrono>
#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using namespace test;
using nlohmann::json;

class EndToEnd : public ::testing::Test {
protected:
    TempDir root;
    fs::path home = root / "home";
    fs::path data = root / "data/Ostrelvan";
    fs::path settingsFile = home / ".claude/settings.json";
    fs::path project = root / "work/shop";
    Variables environment{{"HOME", home.string()},
                          {"OSTRELVAN_DATA_DIR", data.string()},
                          {"PATH", "/usr/bin:/bin"},
                          {"NO_COLOR", "1"},
                          {"LANG", "C.UTF-8"}};

    Outcome ostrelvan(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OSTRELVAN_EXECUTABLE);
        return run(arguments, environment);
    }

    std::optional<json> shown(const std::string& sessionId) {
        const Outcome status = ostrelvan({"status", "--json"});
        EXPECT_EQ(status.code, 0) << status.err;
        const json document = json::parse(status.out, nullptr, false);
        EXPECT_TRUE(document.is_object()) << status.out;
        if (document.is_object())
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
    writeText(settingsFile, userSettings);
    fs::create_directories(project);

    const Outcome connect = ostrelvan({"connect"});
    ASSERT_EQ(connect.code, 0) << connect.err;
    EXPECT_EQ(connect.err, "");
    const fs::path helper = data / "bin/ostrelvan-hook";
    EXPECT_EQ(readText(helper), readText(OSTRELVAN_HOOK)); // the helper built beside ostrelvan
    const json settings = HookInstaller::readSettings(settingsFile);
    ASSERT_TRUE(HookInstaller::isInstalled(settings, helper.string()));

    // Claude Code's own record of the agent process, so the session counts as live.
    Process agent({"/bin/sleep", "600"});
    const std::string sessionId = "6f1c2d3e-4a5b-4c6d-8e9f-0a1b2c3d4e5f";
    const auto nowMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count();
    writeText(home / ".claude/sessions" / (std::to_string(agent.pid()) + ".json"),
              json{{"pid", agent.pid()},
                   {"sessionId", sessionId},
                   {"cwd", project.string()},
                   {"kind", "interactive"},
                   {"entrypoint", "cli"},
                   {"status", "busy"},
                   {"startedAt", nowMs}}
                  .dump());

    Variables hookEnvironment = environment;
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
        {"SessionStart", {{"source", "startup"}}, std::nullopt},
        {"UserPromptSubmit", {{"prompt", "run the tests"}}, "working"},
        {"PreToolUse", bash, "working", "runningTests"},
        {"PermissionRequest", bash, "needsApproval", std::nullopt, "Needs approval · npm test"},
        {"PostToolUse", bash, "working"},
        {"Stop", {{"stop_hook_active", false}}, "awaitingReview"},
        {"SessionEnd", {{"reason", "prompt_input_exit"}}, std::nullopt},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.event);
        json payload = base;
        payload.update(step.fields);
        payload["hook_event_name"] = step.event;
        const std::string command = settings["hooks"][step.event].back()["hooks"][0]["command"];
        const Outcome hook = run({"/bin/sh", "-c", command}, hookEnvironment, payload.dump());
        EXPECT_EQ(hook.code, 0);
        EXPECT_EQ(hook.out, "");

        const auto session = shown(sessionId);
        ASSERT_EQ(session.has_value(), step.status.has_value()) << (session ? session->dump() : "");
        if (!session)
            continue;
        EXPECT_EQ((*session)["status"], *step.status) << session->dump();
        EXPECT_EQ((*session)["pid"], agent.pid());
        EXPECT_EQ((*session)["folder"], project.string());
        if (step.activity)
            EXPECT_EQ((*session)["activity"], *step.activity);
        if (step.statusLine)
            EXPECT_EQ((*session)["statusLine"], *step.statusLine);
    }
    EXPECT_FALSE(fs::exists(data / "sessions" / (sessionId + ".json")));

    ASSERT_EQ(ostrelvan({"disconnect"}).code, 0);
    EXPECT_EQ(HookInstaller::readSettings(settingsFile), json::parse(userSettings));
}

} // namespace
} // namespace ostrelvan
