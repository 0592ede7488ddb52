// The real Claude Code CLI asks to run a command in tmux; the hook helper that `ostrelvan connect`
// installed offers the request to the real ostrelvan-desktop on a private X server, whose row is
// answered with the pointer, or whose buttons go when the user answers in the terminal first.
#include "ClaudeCli.h"
#include "DesktopBed.h"
#include "core/DataPaths.h"

namespace ostrelvan {
namespace {

using namespace test;

class PermissionEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        SKIP_WITHOUT(Shell::openbox);
        if (!ClaudeCli::available())
            GTEST_SKIP() << OSTRELVAN_CLAUDE_CLI << " is missing: `tools/dev test` installs it";
        bed.emplace();
    }

    Path marker() const { return cli->project() / "marker"; }

    // A session whose model runs `command`, connected to Ostrelvan, and the app watching it; the
    // session asks and the app's row has its answer buttons, in the list the pointer opened.
    void ask(const std::string& command) {
        cli.emplace(R"([{"tool":{"name":"Bash","input":{"command":")" + command +
                        R"(","description":"Run it"}}},{"text":"Finished."}])",
                    Variables{{"OSTRELVAN_DATA_DIR", bed->data.string()}});
        const Outcome connect = run({OSTRELVAN_EXECUTABLE, "connect"}, cli->environment());
        ASSERT_EQ(connect.code, 0) << connect.err;
        ASSERT_TRUE(bed->startApp(
            {{"HOME", cli->home().string()}, {"CLAUDE_CONFIG_DIR", cli->config().string()}}));
        ASSERT_TRUE(eventually(
            [&] { return contains(bed->appLog(), "answering permission requests"); }, 20s))
            << bed->appLog();

        ASSERT_TRUE(cli->start()) << cli->screen();
        cli->submit("Run the command");
        ASSERT_TRUE(cli->waitForScreen(ClaudeCli::permissionDialog, 60s)) << cli->screen();
        // Resting on the lamp opens the list; the pointer then stays inside it.
        bed->pointAtLamp();
        ASSERT_TRUE(eventually([&] { return allowButton().has_value(); }, 20s))
            << "no answer buttons on the row\n"
            << bed->appLog();
    }

    // The row on screen, and the middle of its line.
    ScreenRect row() const { return bed->onScreen(bed->metrics.rowRect(0, 0)); }
    int rowMiddle() const { return row().y + row().height / 2; }

    // The centre of the leftmost answer button, the green Allow, when it is drawn.
    std::optional<std::pair<int, int>> allowButton() const {
        const Screenshot shot = screenshot(bed->x);
        const int right = row().x + row().width;
        for (int px = right - 130; px < right && shot.height > rowMiddle(); ++px)
            if (const Rgb c = shot.at(px, rowMiddle()); c.g > c.r + 60 && c.g > c.b + 30)
                return std::pair{px + 12, rowMiddle()};
        return std::nullopt;
    }

    // Once answered, the row's buttons go and no helper is left waiting.
    void expectSettled() const {
        EXPECT_TRUE(eventually([&] { return !allowButton().has_value(); }))
            << "the buttons stayed\n"
            << bed->appLog();
        EXPECT_TRUE(
            eventually([&] { return processesRunning(DataPaths::helper(bed->data)).empty(); }));
    }

    std::optional<DesktopBed> bed;
    std::optional<ClaudeCli> cli;
};

TEST_F(PermissionEndToEnd, AllowOnTheRowRunsTheTool) {
    ask("echo ran > marker");
    const auto allow = allowButton();
    ASSERT_TRUE(allow);
    click(bed->x, allow->first, allow->second);
    EXPECT_TRUE(eventually([&] { return readText(marker()) == "ran\n"; }, 20s)) << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    expectSettled();
}

TEST_F(PermissionEndToEnd, AlwaysAllowOnTheRowAddsClaudeCodesRule) {
    ask("npm test");
    const auto allow = allowButton();
    ASSERT_TRUE(allow);
    // The double check sits right of the check, where Claude Code offered a rule.
    click(bed->x, allow->first + 26 + 6, allow->second);
    const Path local = cli->project() / ".claude/settings.local.json";
    EXPECT_TRUE(eventually([&] { return contains(readText(local), "Bash(npm test *)"); }, 20s))
        << readText(local) << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    expectSettled();
}

TEST_F(PermissionEndToEnd, DenyOnTheRowStopsTheTool) {
    ask("echo ran > marker");
    // Deny is the last button, at the row's right end.
    click(bed->x, row().x + row().width - 10 - 13, rowMiddle());
    EXPECT_TRUE(cli->waitForScreen("Denied from Ostrelvan")) << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    EXPECT_FALSE(std::filesystem::exists(marker()));
    expectSettled();
}

// Yes to a tool that takes a while, so that no hook event tells before it ends (Claude Code's
// registry record must), or Escape: either way the row's buttons go.
TEST_F(PermissionEndToEnd, AnAnswerInTheTerminalFirstTakesTheButtonsAway) {
    for (const std::string key : {"Enter", "Escape"}) {
        SCOPED_TRACE(key);
        bed.emplace();
        ask(key == "Enter" ? "sleep 6; echo ran > marker" : "echo ran > marker");
        ASSERT_TRUE(cli->answerPermissionDialog(key)) << cli->screen();
        ASSERT_TRUE(eventually([&] { return !allowButton().has_value(); })) << bed->appLog();
        EXPECT_FALSE(std::filesystem::exists(marker())) << "the tool ended before the check";
        EXPECT_TRUE(key == "Escape" || contains(bed->appLog(), "answered in the terminal"))
            << bed->appLog();
        EXPECT_EQ(eventually([&] { return readText(marker()) == "ran\n"; }), key == "Enter")
            << cli->screen();
        expectSettled();
    }
}

} // namespace
} // namespace ostrelvan
