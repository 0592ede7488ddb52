#include "ActivityClassifier.h"

#include "ApprovalDetail.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace ostrelvan;

TEST(ActivityClassifier, TestCommands) {
    const char* tests[] = {"swift test --parallel",
                           "xcodebuild -scheme App test",
                           "cd web && npx vitest run",
                           "NPM TEST",
                           "npm run test",
                           "pnpm  test",
                           "make test",
                           "go test ./...",
                           "(cargo test)",
                           "a;pytest -x",
                           "x|jest",
                           "playwright test",
                           "FOO=1 mocha",
                           "xcodebuild -scheme A\ttest"};
    for (const char* command : tests)
        EXPECT_TRUE(ActivityClassifier::isTestCommand(command)) << command;
    const char* others[] = {"swift build",
                            "xcodebuild build; echo test",
                            "npm testing",
                            "gotest",
                            "echo jestful",
                            "mytest",
                            "pytests",
                            "npm run tests",
                            "xcodebuild build\n",
                            "",
                            "cargo tests"};
    for (const char* command : others)
        EXPECT_FALSE(ActivityClassifier::isTestCommand(command)) << command;
}

TEST(ActivityClassifier, ActivityByTool) {
    using A = SessionActivity;
    struct Case {
        const char* tool;
        std::optional<std::string_view> command;
        A activity;
    };
    const Case cases[] = {
        {"Bash", "swift test", A::runningTests},
        {"Bash", "swift build", A::runningCommands},
        {"Bash", std::nullopt, A::runningCommands},
        {"BashOutput", "go test", A::runningTests},
        {"bash", "swift test", A::working},
        {"Edit", std::nullopt, A::coding},
        {"NotebookEdit", std::nullopt, A::coding},
        {"Grep", std::nullopt, A::readingCode},
        {"LS", std::nullopt, A::readingCode},
        {"WebFetch", std::nullopt, A::researching},
        {"Task", std::nullopt, A::runningAgents},
        {"Agent", std::nullopt, A::runningAgents},
        {"mcp__x__y", std::nullopt, A::usingTools},
        {"Unknown", std::nullopt, A::working},
        {"", std::nullopt, A::working},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ActivityClassifier::activity(c.tool, c.command), c.activity) << c.tool;
}

TEST(ActivityClassifier, HugeCommandsClassifyWithoutCrashing) {
    // Long runs that the pattern backtracks over: a test word at the very end still matches.
    // Both sides of the length where matching switches to the JIT-compiled pattern.
    for (std::size_t length : {1000, 8000, 9000}) {
        std::string padded = "xcodebuild" + std::string(length, ' ');
        EXPECT_TRUE(ActivityClassifier::isTestCommand(padded + "test")) << length;
        EXPECT_FALSE(ActivityClassifier::isTestCommand(padded + "; test")) << length;
    }
    std::string blanks(1 << 20, ' ');
    EXPECT_TRUE(ActivityClassifier::isTestCommand("xcodebuild" + blanks + "test"));
    std::string letters(1 << 20, 'a');
    EXPECT_FALSE(ActivityClassifier::isTestCommand(letters));
    std::string repeated;
    while (repeated.size() < (1 << 20))
        repeated += "xcodebuild npm ";
    EXPECT_FALSE(ActivityClassifier::isTestCommand(repeated));
    EXPECT_TRUE(ActivityClassifier::isTestCommand(repeated + "&& npm test"));

    std::vector<std::thread> threads;
    std::vector<int> results(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            [&, i] { results[i] = ActivityClassifier::isTestCommand(repeated + "; jest"); });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(results, std::vector<int>(4, 1));
}

namespace {

HookEvent toolEvent(const char* tool, std::optional<std::string> command = std::nullopt,
                    std::optional<std::string> file = std::nullopt,
                    std::optional<std::string> url = std::nullopt) {
    HookEvent event;
    event.kind = HookEvent::Kind::permissionRequest;
    event.rawName = "PermissionRequest";
    event.sessionId = "s";
    if (tool)
        event.toolName = tool;
    event.command = std::move(command);
    event.filePath = std::move(file);
    event.url = std::move(url);
    return event;
}

} // namespace

TEST(ApprovalDetail, Signature) {
    EXPECT_EQ(ApprovalDetail::signature(toolEvent("Bash", "ls -la")), "Bash|ls -la");
    EXPECT_EQ(ApprovalDetail::signature(toolEvent(nullptr)), "|");
    EXPECT_EQ(ApprovalDetail::signature(toolEvent("Edit", std::nullopt, "/a", "u")), "Edit|/a");
    EXPECT_EQ(ApprovalDetail::signature(toolEvent("WebFetch", std::nullopt, std::nullopt, "u")),
              "WebFetch|u");
}

TEST(ApprovalDetail, Describe) {
    const std::string sixty(60, 'x');
    const std::string accented = "\u00e9" + std::string(60, 'y'); // 61 characters, 62 bytes
    struct Case {
        HookEvent event;
        std::optional<std::string> detail;
    };
    const Case cases[] = {
        {toolEvent(nullptr, "ls"), std::nullopt},
        {toolEvent("AskUserQuestion", "ls"), std::nullopt},
        {toolEvent("Bash"), std::nullopt},
        {toolEvent("Bash", "\n\n  make all \t\nmake install"), "make all"},
        {toolEvent("Bash", sixty), sixty},
        {toolEvent("Bash", sixty + "z"), std::string(59, 'x') + "\u2026"},
        {toolEvent("Bash", accented), "\u00e9" + std::string(58, 'y') + "\u2026"},
        {toolEvent("Edit", std::nullopt, "/w/src/main.c"), "main.c"},
        {toolEvent("Read", std::nullopt, "/w/src/"), "src"},
        {toolEvent("Write"), std::nullopt},
        {toolEvent("WebFetch", std::nullopt, std::nullopt, "https://host.example/a?b"),
         "host.example"},
        {toolEvent("WebFetch", std::nullopt, std::nullopt, "https://u:p@h.example:8080"),
         "h.example"},
        {toolEvent("WebFetch", std::nullopt, std::nullopt, "not a url"), std::nullopt},
        {toolEvent("WebFetch"), std::nullopt},
        {toolEvent("mcp__github__create_issue"), "create_issue"},
        {toolEvent("Glob", "x", "/a"), std::nullopt},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ApprovalDetail::describe(c.event), c.detail) << c.event.command.value_or("-");
    EXPECT_EQ(ApprovalDetail::firstLine(""), "");
    EXPECT_EQ(ApprovalDetail::firstLine("\n\n"), "");
    EXPECT_EQ(ApprovalDetail::firstLine("  \nsecond"), "");
}
