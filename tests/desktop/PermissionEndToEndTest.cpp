// The real Claude Code CLI asks to run a command in tmux; the hook helper that `ostrelvan connect`
// installed offers the request to the real ostrelvan-desktop on a private X server, whose row is
// answered with the pointer, or whose buttons go when the user answers in the terminal first.
#include "ClaudeCli.h"
#include "DesktopBed.h"
#include "core/DataPaths.h"

#include <nlohmann/json.hpp>

namespace ostrelvan {
namespace {

using namespace test;
using nlohmann::json;

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
        const std::string turns =
            json::array({{{"tool",
                           {{"name", "Bash"},
                            {"input", {{"command", command}, {"description", "Run it"}}}}}},
                         {{"text", "Finished."}}})
                .dump();
        cli.emplace(turns, Variables{{"OSTRELVAN_DATA_DIR", bed->data.string()}});
        const Outcome connect = run({OSTRELVAN_EXECUTABLE, "connect"}, cli->environment());
        ASSERT_EQ(connect.code, 0) << connect.err;
        ASSERT_TRUE(bed->startApp(
            {{"HOME", cli->home().string()}, {"CLAUDE_CONFIG_DIR", cli->config().string()}}));
        ASSERT_TRUE(
            eventually([&] { return contains(log(), "answering permission requests"); }, 20s))
            << log();

        ASSERT_TRUE(cli->start()) << cli->screen();
        cli->submit("Run the command");
        ASSERT_TRUE(cli->waitForScreen(dialog, 60s)) << cli->screen();
        ASSERT_TRUE(eventually([&] { return contains(log(), "offered a Bash request"); }, 20s))
            << log();
        // Resting on the lamp opens the list; the pointer then stays inside it.
        bed->pointAtLamp();
        ASSERT_TRUE(eventually([&] { return allowButton().has_value(); }, 20s))
            << "no answer buttons on the row\n"
            << log();
    }

    std::string log() const { return bed->appLog(); }

    // The row's middle line on screen, and its right end.
    ScreenRect row() const { return bed->onScreen(bed->metrics.rowRect(0, 0)); }
    int rowMiddle() const { return row().y + row().height / 2; }
    int rowRight() const { return row().x + row().width; }

    // The centre of the leftmost answer button, the green Allow, when it is drawn.
    std::optional<std::pair<int, int>> allowButton() const {
        const Screenshot shot = screenshot(bed->x);
        for (int px = rowRight() - 130; px < rowRight() && shot.height > rowMiddle(); ++px)
            if (const Rgb c = shot.at(px, rowMiddle()); c.g > c.r + 60 && c.g > c.b + 30)
                return std::pair{px + 12, rowMiddle()};
        return std::nullopt;
    }

    // How long the buttons stayed once the dialog had gone.
    std::optional<double> buttonsGoneAfterDialog() {
        const auto closed = std::chrono::steady_clock::now();
        if (!eventually([&] { return !allowButton().has_value(); }, 10s))
            return std::nullopt;
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - closed).count();
    }

    bool noHelperLeft() const {
        return eventually([&] { return processesRunning(DataPaths::helper(bed->data)).empty(); },
                         10s);
    }

    const std::string dialog{ClaudeCli::permissionDialog};
    std::optional<DesktopBed> bed;
    std::optional<ClaudeCli> cli;
};

TEST_F(PermissionEndToEnd, AllowOnTheRowRunsTheTool) {
    ask("echo ran > marker");
    const auto allow = allowButton();
    ASSERT_TRUE(allow);
    click(bed->x, allow->first, allow->second);
    EXPECT_TRUE(eventually([&] { return readText(marker()) == "ran\n"; })) << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    EXPECT_TRUE(eventually([&] { return !allowButton().has_value(); }, 10s));
    EXPECT_TRUE(noHelperLeft());
}

TEST_F(PermissionEndToEnd, AlwaysAllowOnTheRowAddsClaudeCodesRule) {
    ask("npm test");
    const auto allow = allowButton();
    ASSERT_TRUE(allow);
    // The double check sits right of the check, where Claude Code offered a rule.
    click(bed->x, allow->first + 26 + 6, allow->second);
    const Path local = cli->project() / ".claude/settings.local.json";
    EXPECT_TRUE(eventually([&] {
        return readText(local).find("Bash(npm test *)") != std::string::npos;
    })) << readText(local)
        << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    EXPECT_TRUE(noHelperLeft());
}

TEST_F(PermissionEndToEnd, DenyOnTheRowStopsTheTool) {
    ask("echo ran > marker");
    // Deny is the last button, at the row's right end.
    click(bed->x, rowRight() - 10 - 13, rowMiddle());
    EXPECT_TRUE(cli->waitForScreen("Denied from Ostrelvan")) << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    EXPECT_FALSE(std::filesystem::exists(marker()));
    EXPECT_TRUE(eventually([&] { return !allowButton().has_value(); }, 10s));
    EXPECT_TRUE(noHelperLeft());
}

// Yes to a tool that takes a while, so that no hook event tells before it ends (Claude Code's
// registry record must), or Escape: either way the row's buttons go.
TEST_F(PermissionEndToEnd, AnAnswerInTheTerminalFirstTakesTheButtonsAway) {
    for (const std::string key : {"Enter", "Escape"}) {
        SCOPED_TRACE(key);
        bed.emplace();
        ask(key == "Enter" ? "sleep 6; echo ran > marker" : "echo ran > marker");
        ASSERT_TRUE(cli->answerPermissionDialog(key)) << cli->screen();
        const auto gone = buttonsGoneAfterDialog();
        ASSERT_TRUE(gone) << "the buttons stayed\n" << log();
        std::printf("%s: buttons gone %.2f s after the dialog closed\n", key.c_str(), *gone);
        EXPECT_FALSE(std::filesystem::exists(marker())) << "the tool ended before the check";
        EXPECT_TRUE(key == "Escape" || contains(log(), "answered in the terminal")) << log();
        EXPECT_EQ(eventually([&] { return readText(marker()) == "ran\n"; }, 10s), key == "Enter")
            << cli->screen();
        EXPECT_TRUE(noHelperLeft());
    }
}

} // namespace
} // namespace ostrelvan
