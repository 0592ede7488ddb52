#include "core/HookEvent.h"

#include "TestSupport.h"
#include "core/DataPaths.h"
#include "core/HostDetector.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace ostrelvan;
using namespace ostrelvan::test;

namespace {

HookEvent decode(const std::string& fields) {
    return HookEvent::decode(R"({"session_id":"s","hook_event_name":"Stop")" + fields + "}");
}

} // namespace

TEST(HookEvent, DecodesEveryFieldAndForgivesTheOptionalOnes) {
    EXPECT_EQ(
        HookEvent::decode(R"({
        "session_id": "abc", "hook_event_name": "PreToolUse", "cwd": "/w", "tool_name": "Edit",
        "tool_input": {"file_path": "/w/a.c", "notebook_path": "/w/n.ipynb", "command": "ls",
                       "url": "https://x.example/"},
        "notification_type": "idle_prompt", "message": "m", "session_title": "T",
        "background_tasks": [{"status": "running"}, {"status": "done"}, {"id": 1}],
        "source": "resume", "tool_response": {"huge": [1, 2, 3]}, "prompt_id": "p",
        "permission_suggestions": []})"),
        (HookEvent{HookEvent::Kind::preToolUse, "PreToolUse", "abc", "/w", "Edit", "ls", "/w/a.c",
                   "https://x.example/", "idle_prompt", "m", "T", 1, "resume", "p", "[]"}));
    EXPECT_EQ(decode(R"(,"tool_input":{"notebook_path":"/n.ipynb","file_path":7})").filePath,
              "/n.ipynb");

    const HookEvent minimal = decode("");
    EXPECT_EQ(minimal.cwd, "");
    EXPECT_EQ(minimal.runningBackgroundTasks, 0);
    EXPECT_EQ(decode(R"(,"cwd": null, "tool_name": 3, "tool_input": "ls", "notification_type": [],
        "message": {}, "session_title": false, "background_tasks": {"status": "running"},
        "source": 1.5)"),
              minimal);
    EXPECT_FALSE(decode(R"(,"tool_input":[1])").command);
    // One malformed task makes the list count as empty; a repeated key counts by its last value.
    EXPECT_EQ(decode(R"(,"background_tasks":[{"status":"running"}, 3])").runningBackgroundTasks, 0);
    const HookEvent repeated = decode(R"(,"cwd":"/a","cwd":7,"tool_input":{"command":"a"},
        "tool_input":{"url":"u"},"background_tasks":[{"status":5,"status":"running"},
        {"status":"running","x":[{"status":1}]}],"hook_event_name":"PreToolUse")");
    EXPECT_EQ(repeated.kind, HookEvent::Kind::preToolUse);
    EXPECT_EQ(repeated.cwd, "");
    EXPECT_FALSE(repeated.command);
    EXPECT_EQ(repeated.url, "u");
    EXPECT_EQ(repeated.runningBackgroundTasks, 2);

    for (const std::string name : {"SubagentStop", "stop", ""}) {
        const HookEvent event =
            HookEvent::decode(R"({"session_id":"s","hook_event_name":")" + name + "\"}");
        EXPECT_FALSE(event.kind) << name;
        EXPECT_EQ(event.rawName, name);
    }
}

// Bad payloads and their messages show in the helper's log, in the hook tests.
TEST(HookEvent, ReadsFromADescriptorAsFromMemoryAndRejectsBadPayloads) {
    const std::string big =
        R"({"hook_event_name":"PostToolUse","session_id":"s","tool_response":")" +
        std::string(300000, 'x') + R"(","tool_input":{"command":")" + std::string(200000, 'c') +
        "\"}}";
    TempDir temp;
    writeText(temp / "payload", big);
    const int fd = ::open((temp / "payload").c_str(), O_RDONLY);
    const HookEvent read = HookEvent::read(fd);
    ::close(fd);
    EXPECT_EQ(read, HookEvent::decode(big));
    EXPECT_EQ(read.command->size(), 200000u);
    for (const std::string& bad :
         std::vector<std::string>{big + "x", "\"s\"", R"({"hook_event_name":1,"session_id":"s"})",
                                  R"({"hook_event_name":"Stop","session_id":"s","session_id":1})"})
        EXPECT_THROW(HookEvent::decode(bad), HookEventDecodeError) << bad.substr(0, 80);
    EXPECT_THROW(HookEvent::read(-1), HookEventDecodeError);
}

TEST(HookEvent, HostAndDataPathsFromTheEnvironment) {
    EXPECT_EQ(HostDetector::host({}), SessionHost::terminal);
    EXPECT_EQ(HostDetector::host({{"CLAUDE_CODE_ENTRYPOINT", "claude-vscode"}}),
              SessionHost::vscode);
    EXPECT_EQ(HostDetector::host({{"CLAUDE_CODE_ENTRYPOINT", "claude-vscode "}}),
              SessionHost::terminal);
    EXPECT_EQ(HostDetector::terminalApp({{"TERM_PROGRAM", "iTerm.app"}}), "iTerm.app");
    EXPECT_FALSE(HostDetector::terminalApp({{"TERM_PROGRAM", ""}}));

    const std::pair<Environment, std::string> roots[] = {
        {{{"OSTRELVAN_DATA_DIR", "~/x"}, {"HOME", "/h"}}, "~/x"},
#ifdef __APPLE__
        {{{"OSTRELVAN_DATA_DIR", ""}, {"HOME", "/h"}}, "/h/Library/Application Support/Ostrelvan"},
#else
        {{{"OSTRELVAN_DATA_DIR", ""}, {"HOME", "/h"}}, "/h/.local/share/Ostrelvan"},
        {{{"HOME", "/h"}, {"XDG_DATA_HOME", "/xdg"}}, "/xdg/Ostrelvan"},
        {{{"HOME", "/h"}, {"XDG_DATA_HOME", "relative"}}, "/h/.local/share/Ostrelvan"},
#endif
    };
    for (const auto& [environment, root] : roots)
        EXPECT_EQ(DataPaths::root(environment), root);
}

TEST(HookEvent, KeepsAPermissionRequestsPromptAndSuggestionsWhole) {
    const std::string suggestions =
        R"([{"type":"addRules","rules":[{"toolName":"Bash","ruleContent":"npm test *"}],)"
        R"("behavior":"allow","destination":"localSettings","n":[1,-2,2.5,true,null,{}]}])";
    const HookEvent event = HookEvent::decode(
        R"({"session_id":"s","hook_event_name":"PermissionRequest","prompt_id":"p7",)"
        R"("tool_name":"Bash","tool_input":{"command":"npm test"},"permission_suggestions":)" +
        suggestions + R"(,"permission_mode":"default"})");
    EXPECT_EQ(event.promptId, "p7");
    EXPECT_EQ(event.permissionSuggestions, suggestions);
    EXPECT_EQ(event.command, "npm test");

    // Not an array, repeated, or too large to pass on: nothing is kept, and the rest still reads.
    EXPECT_FALSE(decode(R"(,"permission_suggestions":{"a":1})").permissionSuggestions);
    EXPECT_FALSE(decode(R"(,"permission_suggestions":[],"permission_suggestions":null)")
                     .permissionSuggestions);
    EXPECT_EQ(decode(R"(,"permission_suggestions":[1],"permission_suggestions":[[]])")
                  .permissionSuggestions,
              "[[]]");
    const HookEvent big = decode(R"(,"permission_suggestions":[{"r":[")" + std::string(20000, 'x') +
                                 R"("]},{"more":[1,2]}],"cwd":"/after")");
    EXPECT_FALSE(big.permissionSuggestions);
    EXPECT_EQ(big.cwd, "/after");
    EXPECT_FALSE(decode(R"(,"prompt_id":5)").promptId);
}
