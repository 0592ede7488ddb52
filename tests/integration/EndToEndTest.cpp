// `ostrelvan connect` into a temporary home, then a whole session's events delivered the way Claude
// Code delivers them: the exact command written into settings.json, run by /bin/sh -c with the
// payload on standard input, and `ostrelvan status --json` after each step.
#include "TestSupport.h"
#include "app/integration/HookInstaller.h"

#include <ctime>
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
    fs::path config = root / "claude-config"; // Claude Code's folder, moved from ~/.claude
    fs::path settingsFile = config / "settings.json";
    fs::path project = root / "work/shop";
    Variables environment{{"HOME", home.string()},
                          {"CLAUDE_CONFIG_DIR", config.string()},
                          {"OSTRELVAN_DATA_DIR", data.string()},
                          {"PATH", "/usr/bin:/bin"},
                          {"NO_COLOR", "1"},
                          {"LANG", "C.UTF-8"}};

    Outcome ostrelvan(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OSTRELVAN_EXECUTABLE);
        return run(arguments, environment);
    }

    // "status/activity/statusLine" of a session as `status --json` shows it (activity "-" when
    // not working, and "/approval" while one is pending), or "not shown".
    std::string shown(const std::string& sessionId, pid_t pid) {
        const Outcome status = ostrelvan({"status", "--json"});
        EXPECT_EQ(status.code, 0) << status.err;
        const json document = json::parse(status.out, nullptr, false);
        EXPECT_TRUE(document.is_object()) << status.out;
        if (document.is_object())
            for (const auto& group : document["groups"])
                for (const auto& session : group["sessions"])
                    if (session["sessionId"] == sessionId) {
                        EXPECT_EQ(session["pid"], pid);
                        EXPECT_EQ(session["folder"], project.string());
                        const auto& activity = session["activity"];
                        const auto& approval = session["approval"];
                        return session["status"].get<std::string>() + "/" +
                               (activity.is_null() ? "-" : activity.get<std::string>()) + "/" +
                               session["statusLine"].get<std::string>() +
                               (approval.is_null() ? "" : "/" + approval.get<std::string>());
                    }
        return "not shown";
    }
};

TEST_F(EndToEnd, aWholeSessionThroughTheInstalledHooks) {
    const std::string userSettings = R"json({"permissions": {"allow": ["Bash(npm test:*)"]},
        "hooks": {"Stop": [{"hooks": [{"type": "command", "command": "true"}]}]}})json";
    fs::create_directories(project);
    writeText(settingsFile, userSettings);
    const Outcome connect = ostrelvan({"connect"});
    ASSERT_EQ(connect.code, 0) << connect.err;
    EXPECT_EQ(connect.err, "");
    const fs::path helper = data / "bin/ostrelvan-hook";
    EXPECT_EQ(connect.out, "Installed the hook helper at " + helper.string() +
                               ".\nBacked up the previous settings to " + settingsFile.string() +
                               ".ostrelvan-backup.\nWrote Ostrelvan's hook entries to " +
                               fs::canonical(settingsFile).string() +
                               ".\nConnected to Claude Code.\n");
    EXPECT_EQ(readText(helper), readText(OSTRELVAN_HOOK)); // the helper built beside ostrelvan
    const json settings = HookInstaller::readSettings(settingsFile);
    ASSERT_TRUE(HookInstaller::isInstalled(settings, helper.string()));

    // Claude Code's own record of the agent process, so the session counts as live.
    Process agent({"/bin/sleep", "600"});
    const std::string sessionId = "6f1c2d3e-4a5b-4c6d-8e9f-0a1b2c3d4e5f";
    writeText(config / "sessions" / (std::to_string(agent.pid()) + ".json"),
              json{{"pid", agent.pid()},
                   {"sessionId", sessionId},
                   {"cwd", project.string()},
                   {"kind", "interactive"},
                   {"entrypoint", "cli"},
                   {"status", "busy"},
                   {"startedAt", std::time(nullptr) * 1000}}
                  .dump());

    Variables hookEnvironment = environment;
    hookEnvironment["CLAUDE_PID"] = std::to_string(agent.pid());
    hookEnvironment["CLAUDE_CODE_ENTRYPOINT"] = "cli";
    hookEnvironment["CLAUDE_PROJECT_DIR"] = project.string();
    const json base = {
        {"session_id", sessionId},
        {"transcript_path", (config / "projects/shop" / sessionId).string() + ".jsonl"},
        {"cwd", project.string()}};
    const json bash = {{"tool_name", "Bash"}, {"tool_input", {{"command", "npm test"}}}};

    // Each step: the event, its own fields, and "status/activity/statusLine" shown after it.
    const std::vector<std::tuple<std::string, json, std::string>> steps = {
        {"SessionStart", {{"source", "startup"}}, "not shown"},
        {"UserPromptSubmit", {{"prompt", "run the tests"}}, "working/thinking/Working…"},
        {"PreToolUse", bash, "working/runningTests/Running tests…"},
        {"PermissionRequest", bash, "needsApproval/-/Needs approval · npm test/npm test"},
        {"PostToolUse", bash, "working/runningTests/Running tests…"},
        {"Stop", {{"stop_hook_active", false}}, "awaitingReview/-/Awaiting review"},
        {"SessionEnd", {{"reason", "prompt_input_exit"}}, "not shown"},
    };
    for (const auto& [event, fields, shownAs] : steps) {
        SCOPED_TRACE(event);
        json payload = base;
        payload.update(fields);
        payload["hook_event_name"] = event;
        const std::string command = settings["hooks"][event].back()["hooks"][0]["command"];
        const Outcome hook = run({"/bin/sh", "-c", command}, hookEnvironment, payload.dump());
        EXPECT_EQ(hook.code, 0);
        EXPECT_EQ(hook.out, "");

        EXPECT_EQ(shown(sessionId, agent.pid()), shownAs);
    }
    EXPECT_FALSE(fs::exists(data / "sessions" / (sessionId + ".json")));

    const Outcome disconnect = ostrelvan({"disconnect"});
    ASSERT_EQ(disconnect.code, 0);
    EXPECT_EQ(disconnect.out.rfind("Removed Ostrelvan's hook entries from", 0), 0u);
    EXPECT_EQ(HookInstaller::readSettings(settingsFile), json::parse(userSettings));
    // Disconnected; a settings file that does not parse is left as it was, and nothing connects.
    const std::string broken = R"({"model": "opus",})";
    writeText(settingsFile, broken);
    const Outcome refused = ostrelvan({"connect"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_EQ(refused.err,
              settingsFile.string() + " is not valid JSON, so Ostrelvan left it untouched.\n");
    EXPECT_EQ(readText(settingsFile), broken);
    EXPECT_EQ(ostrelvan({"status"}).out.rfind("Not connected to Claude Code", 0), 0u);
}

// A data folder whose path the shell would break or expand: the command written into
// settings.json still runs the installed helper, which records into the folder it was installed
// for even though Claude Code runs it without OSTRELVAN_DATA_DIR.
TEST_F(EndToEnd, anyDataFolderPathSurvivesTheShell) {
    data = root / "it's a \"data\" $HOME `touch pwned` folder";
    environment["OSTRELVAN_DATA_DIR"] = data.string();
    const Outcome connect = ostrelvan({"connect"});
    ASSERT_EQ(connect.code, 0) << connect.err;
    EXPECT_EQ(connect.err, "");
    const json settings = HookInstaller::readSettings(settingsFile);
    ASSERT_TRUE(HookInstaller::isInstalled(settings, (data / "bin/ostrelvan-hook").string()));

    Variables claudeCode = environment;
    claudeCode.erase("OSTRELVAN_DATA_DIR");
    fs::create_directories(project);
    const std::string command = settings["hooks"]["UserPromptSubmit"][0]["hooks"][0]["command"];
    const Outcome hook =
        run({"/bin/sh", "-c", command}, claudeCode, payload("UserPromptSubmit", "odd"), project);
    EXPECT_EQ(hook.code, 0);
    EXPECT_EQ(hook.out + hook.err, "");
    const json state = json::parse(readText(data / "sessions/odd.json"), nullptr, false);
    EXPECT_EQ(state.value("status", ""), "working");
    EXPECT_FALSE(fs::exists(home / ".local/share/Ostrelvan"));
    EXPECT_TRUE(fs::is_empty(project)); // nothing the path spelt ran
}

} // namespace
} // namespace ostrelvan
