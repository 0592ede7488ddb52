// The real Claude Code CLI asks to run a command in tmux; the hook helper that `ostrelvan connect`
// installed offers the request to the real ostrelvan-desktop on a private X server, whose row is
// answered with the pointer, or whose buttons go when the user answers in the terminal first.
#include "ClaudeCli.h"
#include "ScreenPixels.h"
#include "app/widgetmodel/WidgetMetrics.h"
#include "core/DataPaths.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace ostrelvan {
namespace {

using namespace test;
using namespace std::chrono_literals;
using nlohmann::json;

const std::string dialog(ClaudeCli::permissionDialog);

bool green(Rgb c) {
    return c.g > c.r + 60 && c.g > c.b + 30;
}

class PermissionEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        if (!XSession::available())
            GTEST_SKIP() << "Xvfb is not installed";
        if (!ClaudeCli::available())
            GTEST_SKIP() << OSTRELVAN_CLAUDE_CLI << " is missing: `tools/dev test` installs it";
        x.emplace();
        // The window manager publishes it a moment after it starts.
        ASSERT_TRUE(eventually([&] { return (area = workArea(*x)).height > 0; }))
            << "no work area on the root window";
    }

    Path data() const { return root / "data"; }
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
        cli.emplace(turns, Variables{{"OSTRELVAN_DATA_DIR", data().string()}});
        const Outcome connect = run({OSTRELVAN_EXECUTABLE, "connect"}, cli->environment());
        ASSERT_EQ(connect.code, 0) << connect.err;

        movePointer(*x, 10, 10);
        const Path config = root / "config";
        app.emplace(std::vector<std::string>{OSTRELVAN_DESKTOP},
                    x->environment({{"HOME", cli->home().string()},
                                    {"PATH", "/usr/bin:/bin"},
                                    {"XDG_CONFIG_HOME", config.string()},
                                    {"XDG_RUNTIME_DIR", root.path().string()},
                                    {"OSTRELVAN_DATA_DIR", data().string()},
                                    {"CLAUDE_CONFIG_DIR", cli->config().string()},
                                    {"QT_QPA_PLATFORM", "xcb"}}),
                    Streams{"/dev/null", log(), log()});
        ASSERT_TRUE(eventually(
            [&] {
                return readText(log()).find("answering permission requests") != std::string::npos;
            },
            20s))
            << readText(log());

        ASSERT_TRUE(cli->start()) << cli->screen();
        cli->submit("Run the command");
        ASSERT_TRUE(cli->waitForScreen(dialog, 60s)) << cli->screen();
        ASSERT_TRUE(eventually(
            [&] { return readText(log()).find("offered a Bash request") != std::string::npos; },
            20s))
            << readText(log());

        // Resting on the lamp opens the list; the pointer then stays inside it.
        const WidgetMetrics metrics({1}, area.height);
        const LayoutRect column = metrics.columnRect();
        movePointer(*x, screenX(column.x + column.width / 2), screenY(metrics.lampCentreY(0)));
        ASSERT_TRUE(eventually([&] { return allowButton().has_value(); }, 20s))
            << "no answer buttons on the row\n"
            << readText(log());
    }

    std::string log() const { return (root / "desktop.log").string(); }

    int screenX(double canvasX) const {
        return area.x + area.width - int(WidgetMetrics::canvasWidth) + int(canvasX);
    }
    int screenY(double canvasY) const { return area.y + area.height - int(canvasY); }

    // The row's middle line on screen, and its right end.
    int rowMiddle() const {
        const LayoutRect row = WidgetMetrics({1}, area.height).rowRect(0, 0);
        return screenY(row.midY());
    }
    int rowRight() const {
        const LayoutRect row = WidgetMetrics({1}, area.height).rowRect(0, 0);
        return screenX(row.x + row.width);
    }

    // The centre of the leftmost answer button, the green Allow, when it is drawn.
    std::optional<std::pair<int, int>> allowButton() const {
        const Screenshot shot = screenshot(*x);
        const int y = rowMiddle();
        if (shot.height <= y)
            return std::nullopt;
        for (int px = rowRight() - 130; px < rowRight(); ++px)
            if (green(shot.at(px, y)))
                return std::pair{px + 12, y};
        return std::nullopt;
    }

    void click(int px, int py) {
        movePointer(*x, px, py);
        run({"xdotool", "click", "1"}, x->environment());
    }

    // How long the buttons stayed once the dialog had gone.
    std::optional<double> buttonsGoneAfterDialog() {
        const auto closed = std::chrono::steady_clock::now();
        if (!eventually([&] { return !allowButton().has_value(); }, 10s))
            return std::nullopt;
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - closed).count();
    }

    bool noHelperLeft() const {
        return waitUntil([&] { return processesRunning(DataPaths::helper(data())).empty(); }, 10s);
    }

    TempDir root;
    std::optional<XSession> x;
    WorkArea area;
    std::optional<ClaudeCli> cli;
    std::optional<Process> app;
};

TEST_F(PermissionEndToEnd, AllowOnTheRowRunsTheTool) {
    ask("echo ran > marker");
    const auto allow = allowButton();
    ASSERT_TRUE(allow);
    click(allow->first, allow->second);
    EXPECT_TRUE(waitUntil([&] { return readText(marker()) == "ran\n"; })) << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    EXPECT_TRUE(eventually([&] { return !allowButton().has_value(); }, 10s));
    EXPECT_TRUE(noHelperLeft());
}

TEST_F(PermissionEndToEnd, AlwaysAllowOnTheRowAddsClaudeCodesRule) {
    ask("npm test");
    const auto allow = allowButton();
    ASSERT_TRUE(allow);
    // The double check sits right of the check, where Claude Code offered a rule.
    click(allow->first + 26 + 6, allow->second);
    const Path local = cli->project() / ".claude/settings.local.json";
    EXPECT_TRUE(waitUntil([&] {
        return readText(local).find("Bash(npm test *)") != std::string::npos;
    })) << readText(local)
        << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    EXPECT_TRUE(noHelperLeft());
}

TEST_F(PermissionEndToEnd, DenyOnTheRowStopsTheTool) {
    ask("echo ran > marker");
    // Deny is the last button, at the row's right end.
    click(rowRight() - 10 - 13, rowMiddle());
    EXPECT_TRUE(cli->waitForScreen("Denied from Ostrelvan")) << cli->screen();
    EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
    EXPECT_FALSE(std::filesystem::exists(marker()));
    EXPECT_TRUE(eventually([&] { return !allowButton().has_value(); }, 10s));
    EXPECT_TRUE(noHelperLeft());
}

TEST_F(PermissionEndToEnd, YesInTheTerminalFirstTakesTheButtonsAway) {
    // The tool takes a while, so no hook event tells before it ends: Claude Code's registry
    // record must.
    ask("sleep 6; echo ran > marker");
    ASSERT_TRUE(cli->answerPermissionDialog("Enter")) << cli->screen();
    const auto gone = buttonsGoneAfterDialog();
    ASSERT_TRUE(gone) << "the buttons stayed\n" << readText(log());
    std::printf("buttons gone %.2f s after the dialog closed\n", *gone);
    EXPECT_FALSE(std::filesystem::exists(marker())) << "the tool ended before the check";
    EXPECT_NE(readText(log()).find("answered in the terminal"), std::string::npos);
    EXPECT_TRUE(waitUntil([&] { return readText(marker()) == "ran\n"; })) << cli->screen();
    EXPECT_TRUE(noHelperLeft());
}

TEST_F(PermissionEndToEnd, EscapeInTheTerminalFirstTakesTheButtonsAway) {
    ask("echo ran > marker");
    ASSERT_TRUE(cli->answerPermissionDialog("Escape")) << cli->screen();
    const auto gone = buttonsGoneAfterDialog();
    ASSERT_TRUE(gone) << "the buttons stayed\n" << readText(log());
    std::printf("buttons gone %.2f s after the dialog closed\n", *gone);
    EXPECT_TRUE(noHelperLeft());
    EXPECT_FALSE(std::filesystem::exists(marker()));
}

} // namespace
} // namespace ostrelvan
