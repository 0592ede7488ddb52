#include "core/ActivityClassifier.h"

#include "core/ApprovalDetail.h"

#include <gtest/gtest.h>

using namespace ostrelvan;

TEST(ActivityClassifier, CommandsAndTools) {
    for (const char* command :
         {"swift test --parallel", "xcodebuild -scheme App test", "cd web && npx vitest run",
          "NPM TEST", "npm run test", "(cargo test)", "a;pytest -x", "x|jest", "playwright test"})
        EXPECT_EQ(ActivityClassifier::activity("Bash", command), SessionActivity::runningTests)
            << command;
    for (const char* command : {"swift build", "xcodebuild build; echo test", "npm testing",
                                "gotest", "echo jestful", "pytests", "cargo tests", ""})
        EXPECT_EQ(ActivityClassifier::activity("Bash", command), SessionActivity::runningCommands)
            << command;

    using A = SessionActivity;
    const std::pair<const char*, A> tools[] = {{"bash", A::working},
                                               {"BashOutput", A::runningCommands},
                                               {"mcp__x__y", A::usingTools},
                                               {"Unknown", A::working}};
    for (auto [tool, activity] : tools)
        EXPECT_EQ(ActivityClassifier::activity(tool, std::nullopt), activity) << tool;
    EXPECT_EQ(ActivityClassifier::activity("bash", "swift test"), A::working);
}

TEST(ActivityClassifier, HugeCommandsClassifyWithoutCrashing) {
    // Both sides of the length where matching moves to the JIT-compiled pattern, and 1 MB.
    for (std::size_t length : {8000, 9000, 1 << 20}) {
        std::string padded = "xcodebuild" + std::string(length, ' ');
        EXPECT_TRUE(ActivityClassifier::isTestCommand(padded + "test")) << length;
        EXPECT_FALSE(ActivityClassifier::isTestCommand(padded + "; test")) << length;
    }
    std::string repeated;
    while (repeated.size() < (1 << 20))
        repeated += "xcodebuild npm ";
    EXPECT_FALSE(ActivityClassifier::isTestCommand(repeated));
    EXPECT_TRUE(ActivityClassifier::isTestCommand(repeated + "&& npm test"));
}

namespace {

HookEvent tool(const char* name, std::optional<std::string> command = std::nullopt,
               std::optional<std::string> file = std::nullopt,
               std::optional<std::string> url = std::nullopt) {
    HookEvent event;
    event.toolName = name ? std::optional<std::string>(name) : std::nullopt;
    event.command = std::move(command), event.filePath = std::move(file),
    event.url = std::move(url);
    return event;
}

} // namespace

TEST(ApprovalDetail, SignatureAndDescription) {
    EXPECT_EQ(ApprovalDetail::signature(tool(nullptr)), "|");
    EXPECT_EQ(ApprovalDetail::signature(tool("Edit", std::nullopt, "/a", "u")), "Edit|/a");

    const std::string sixty(60, 'x');
    const auto none = std::nullopt;
    const std::pair<HookEvent, std::optional<std::string>> cases[] = {
        {tool(nullptr, "ls"), none},
        {tool("AskUserQuestion", "ls"), none},
        {tool("Bash"), none},
        {tool("Bash", "\n\n  make all \t\nmake install"), "make all"},
        {tool("Bash", sixty), sixty},
        {tool("Bash", sixty + "z"), std::string(59, 'x') + "\u2026"},
        // Characters, not bytes: 61 of them in 62 bytes.
        {tool("Bash", "\u00e9" + std::string(60, 'y')), "\u00e9" + std::string(58, 'y') + "\u2026"},
        {tool("Edit", none, "/w/src/main.c"), "main.c"},
        {tool("Read", none, "/w/src/"), "src"},
        {tool("Write"), none},
        {tool("WebFetch", none, none, "https://host.example/a?b"), "host.example"},
        {tool("WebFetch", none, none, "https://u:p@h.example:8080"), "h.example"},
        {tool("WebFetch", none, none, "not a url"), none},
        {tool("mcp__github__create_issue"), "create_issue"},
        {tool("Glob", "x", "/a"), none},
    };
    for (const auto& [event, detail] : cases)
        EXPECT_EQ(ApprovalDetail::describe(event), detail) << event.command.value_or("-");
}
