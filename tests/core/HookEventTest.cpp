#include "HookEvent.h"

#include "DataPaths.h"
#include "HostDetector.h"
#include "TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace ostrelvan;
using namespace ostrelvan::test;

TEST(HookEvent, DecodesEveryField) {
    HookEvent event = HookEvent::decode(R"({
        "session_id": "abc", "hook_event_name": "PreToolUse", "cwd": "/w",
        "tool_name": "Edit", "tool_input": {"file_path": "/w/a.c", "notebook_path": "/w/n.ipynb",
                                            "command": "ls", "url": "https://x.example/"},
        "notification_type": "idle_prompt", "message": "m", "session_title": "T",
        "background_tasks": [{"status": "running"}, {"status": "done"}, {"id": 1}],
        "source": "resume", "tool_response": {"huge": [1, 2, 3]}})");
    HookEvent expected;
    expected.kind = HookEvent::Kind::preToolUse;
    expected.rawName = "PreToolUse";
    expected.sessionId = "abc";
    expected.cwd = "/w";
    expected.toolName = "Edit";
    expected.command = "ls";
    expected.filePath = "/w/a.c";
    expected.url = "https://x.example/";
    expected.notificationType = "idle_prompt";
    expected.message = "m";
    expected.sessionTitle = "T";
    expected.runningBackgroundTasks = 1;
    expected.source = "resume";
    EXPECT_EQ(event, expected);
}

TEST(HookEvent, ForgivingOptionalFields) {
    HookEvent minimal = HookEvent::decode(R"({"session_id":"s","hook_event_name":"Stop"})");
    EXPECT_EQ(minimal.kind, HookEvent::Kind::stop);
    EXPECT_EQ(minimal.cwd, "");
    EXPECT_FALSE(minimal.toolName);
    EXPECT_EQ(minimal.runningBackgroundTasks, 0);

    HookEvent wrong = HookEvent::decode(R"({"session_id":"s","hook_event_name":"Stop",
        "cwd": null, "tool_name": 3, "tool_input": "ls", "notification_type": [],
        "message": {}, "session_title": false, "background_tasks": {"status": "running"},
        "source": 1.5})");
    EXPECT_EQ(wrong, minimal);

    EXPECT_FALSE(
        HookEvent::decode(R"({"session_id":"s","hook_event_name":"x","tool_input":[1]})").command);
    EXPECT_EQ(HookEvent::decode(R"({"session_id":"s","hook_event_name":"x",
                  "tool_input":{"notebook_path":"/n.ipynb","file_path":7}})")
                  .filePath,
              "/n.ipynb");
    // One malformed task makes the list count as empty.
    EXPECT_EQ(HookEvent::decode(R"({"session_id":"s","hook_event_name":"Stop",
                  "background_tasks":[{"status":"running"}, 3]})")
                  .runningBackgroundTasks,
              0);
}

TEST(HookEvent, UnknownNamesDecodeWithoutKind) {
    for (const char* name : {"SubagentStop", "stop", "PRETOOLUSE", ""}) {
        HookEvent event = HookEvent::decode(
            std::string(R"({"session_id":"s","hook_event_name":")") + name + "\"}");
        EXPECT_FALSE(event.kind) << name;
        EXPECT_EQ(event.rawName, name);
    }
    for (HookEvent::Kind kind : HookEvent::allKinds)
        EXPECT_EQ(fromString<HookEvent::Kind>(toString(kind)), kind);
}

TEST(HookEvent, RejectsPayloadsWithoutTheRequiredKeys) {
    for (const char* bad :
         {"", "not json", "[]", "\"s\"", "{}", R"({"session_id":"s"})",
          R"({"hook_event_name":"Stop"})", R"({"hook_event_name":"Stop","session_id":null})",
          R"({"hook_event_name":1,"session_id":"s"})",
          R"({"hook_event_name":"Stop","session_id":"s"} trailing)"})
        EXPECT_THROW(HookEvent::decode(bad), HookEventDecodeError) << bad;
}

TEST(HostDetector, HostAndTerminal) {
    EXPECT_EQ(HostDetector::host({}), SessionHost::terminal);
    EXPECT_EQ(HostDetector::host({{"CLAUDE_CODE_ENTRYPOINT", "claude-vscode"}}),
              SessionHost::vscode);
    EXPECT_EQ(HostDetector::host({{"CLAUDE_CODE_ENTRYPOINT", "claude-vscode "}}),
              SessionHost::terminal);
    EXPECT_EQ(HostDetector::host({{"CLAUDE_CODE_ENTRYPOINT", "cli"}}), SessionHost::terminal);
    EXPECT_EQ(HostDetector::terminalApp({{"TERM_PROGRAM", "iTerm.app"}}), "iTerm.app");
    EXPECT_FALSE(HostDetector::terminalApp({{"TERM_PROGRAM", ""}}));
}

TEST(DataPaths, RootFromTheEnvironment) {
    struct Case {
        Environment environment;
        std::string root;
    };
    const Case cases[] = {
        {{{"OSTRELVAN_DATA_DIR", "/d"}, {"HOME", "/h"}}, "/d"},
        {{{"OSTRELVAN_DATA_DIR", "~/x"}}, "~/x"},
#ifdef __APPLE__
        {{{"OSTRELVAN_DATA_DIR", ""}, {"HOME", "/h"}}, "/h/Library/Application Support/Ostrelvan"},
#else
        {{{"OSTRELVAN_DATA_DIR", ""}, {"HOME", "/h"}}, "/h/.local/share/Ostrelvan"},
        {{{"HOME", "/h"}, {"XDG_DATA_HOME", "/xdg"}}, "/xdg/Ostrelvan"},
        {{{"HOME", "/h"}, {"XDG_DATA_HOME", "relative"}}, "/h/.local/share/Ostrelvan"},
#endif
    };
    for (const Case& c : cases)
        EXPECT_EQ(DataPaths::root(c.environment), c.root);
    Environment custom{{"OSTRELVAN_DATA_DIR", "/d"}};
    EXPECT_EQ(DataPaths::sessions(custom), "/d/sessions");
    EXPECT_EQ(DataPaths::helper(custom), "/d/bin/ostrelvan-hook");
}

TEST(HookEvent, RepeatedKeysCountByTheirLastValue) {
    const HookEvent event = HookEvent::decode(R"({"hook_event_name":"Stop","session_id":"s",
        "cwd":"/a","cwd":7,"tool_input":{"command":"a"},"tool_input":{"url":"u"},
        "background_tasks":[{"status":5,"status":"running"},{"status":"running","x":[{"status":1}]}],
        "hook_event_name":"PreToolUse"})");
    EXPECT_EQ(event.kind, HookEvent::Kind::preToolUse);
    EXPECT_EQ(event.cwd, "");
    EXPECT_FALSE(event.command);
    EXPECT_EQ(event.url, "u");
    EXPECT_EQ(event.runningBackgroundTasks, 2);
    EXPECT_THROW(HookEvent::decode(R"({"hook_event_name":"Stop","session_id":"s","session_id":1})"),
                 HookEventDecodeError);
}

TEST(HookEvent, ReadsFromADescriptorLikeFromBytes) {
    TemporaryFolder temp;
    auto readFile = [&](const std::string& bytes) {
        const auto path = temp.path() / "payload";
        writeText(path, bytes);
        int fd = ::open(path.c_str(), O_RDONLY);
        std::optional<HookEvent> event;
        std::string error;
        try {
            event = HookEvent::read(fd);
        } catch (const HookEventDecodeError& e) {
            error = e.what();
        }
        ::close(fd);
        return std::pair{event, error};
    };
    const std::string big =
        R"({"hook_event_name":"PostToolUse","session_id":"s","tool_response":")" +
        std::string(300000, 'x') + R"(","tool_name":"Bash","tool_input":{"command":")" +
        std::string(200000, 'c') + "\"}}";
    EXPECT_EQ(readFile(big).first, HookEvent::decode(big));
    EXPECT_EQ(readFile(big).first->command->size(), 200000u);
    EXPECT_EQ(readFile("").second, "Payload is empty");
    EXPECT_EQ(readFile(big + "x").second, "Payload is not valid JSON");
    EXPECT_EQ(readFile("[1]").second, "Payload is not a JSON object");
    EXPECT_EQ(readFile(R"({"session_id":"s"})").second, "Missing key \"hook_event_name\"");
    EXPECT_THROW(HookEvent::read(-1), HookEventDecodeError);
}
