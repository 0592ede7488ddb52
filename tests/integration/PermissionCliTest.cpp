// The real Claude Code CLI asks to run a Bash command; the hook helper that `ostrelvan connect`
// installed offers the request to a stand-in of the desktop app, which answers as a user would.
// (A rule added from the app is checked with the real app, in PermissionEndToEndTest.)
#include "ClaudeCli.h"
#include "PermissionStandIn.h"
#include "core/DataPaths.h"
#include "core/SessionFileStore.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using namespace test;
using nlohmann::json;

const std::string dialog(ClaudeCli::permissionDialog);

std::string bashTurns(const std::string& command) {
    return json::array({{{"tool",
                          {{"name", "Bash"},
                           {"input", {{"command", command}, {"description", "Run it"}}}}}},
                        {{"text", "Finished."}}})
        .dump();
}

class PermissionCli : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ClaudeCli::available())
            GTEST_SKIP() << OSTRELVAN_CLAUDE_CLI << " is missing: `tools/dev test` installs it";
    }

    // A session whose model runs `command`, connected to Ostrelvan, with the user's own hook on
    // PermissionRequest keeping the payload, so a test can tell the event came.
    void prepare(const std::string& command) {
        app.reset();
        cli.reset();
        fs::remove(seen());
        cli.emplace(bashTurns(command), Variables{{"OSTRELVAN_DATA_DIR", data().string()}});
        writeText(cli->settingsFile(), R"({"hooks":{"PermissionRequest":[{"matcher":"*","hooks":[)"
                                       R"({"type":"command","command":"cat > )" +
                                           seen().string() + R"("}]}]}})");
        const Outcome connect = run({OSTRELVAN_EXECUTABLE, "connect"}, cli->environment());
        ASSERT_EQ(connect.code, 0) << connect.err;
    }

    Path data() const { return root / "data"; }
    Path seen() const { return root / "permission-request.json"; }
    Path helper() const { return DataPaths::helper(data()); }
    Path marker() const { return cli->project() / "marker"; }

    // A session that runs `command`, with the app's stand-in listening: the session asks, and the
    // stand-in takes the helper's request and accepts it.
    TakenRequest askThroughTheApp(const std::string& command) {
        prepare(command);
        app.emplace(DataPaths::permissionSocket(data()));
        if (!cli->start())
            throw std::runtime_error("the CLI did not start:\n" + cli->screen());
        cli->submit("Run the command");
        TakenRequest offer = takeRequest(*app, 60s);
        offer.peer.send(answerLine("accepted", offer.requestId));
        return offer;
    }
    bool decide(TakenRequest& offer, const std::string& behavior) {
        return offer.peer.send(answerLine("decision", offer.requestId, behavior));
    }

    TempDir root;
    std::optional<ClaudeCli> cli;
    std::optional<PermissionStandIn> app;
};

TEST_F(PermissionCli, TheAppsAllowRunsTheToolAndItsDenyStopsIt) {
    {
        TakenRequest offer = askThroughTheApp("echo ran > marker");
        ASSERT_TRUE(decide(offer, R"(,"behavior":"allow")"));
        EXPECT_TRUE(waitUntil([&] { return readText(marker()) == "ran\n"; })) << cli->screen();
        EXPECT_TRUE(cli->waitForScreen("Allowed by PermissionRequest hook")) << cli->screen();
        EXPECT_TRUE(offer.peer.closedWithin());
        // Recorded before it was offered: the session file saw the request.
        EXPECT_TRUE(fs::exists(seen()));
    }
    {
        TakenRequest offer = askThroughTheApp("echo ran > marker");
        ASSERT_TRUE(decide(offer, R"(,"behavior":"deny")"));
        EXPECT_TRUE(cli->waitForScreen("Denied from Ostrelvan")) << cli->screen();
        EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
        EXPECT_FALSE(fs::exists(marker()));
        // The model was told why.
        EXPECT_NE(cli->requests().find("Denied from Ostrelvan"), std::string::npos);
    }
}

TEST_F(PermissionCli, AnAnswerInTheTerminalFirst) {
    {
        // "Yes": Claude Code runs the tool and leaves the helper be; the app withdraws.
        TakenRequest offer = askThroughTheApp("echo ran > marker");
        ASSERT_TRUE(cli->answerPermissionDialog("Enter")) << cli->screen();
        EXPECT_TRUE(waitUntil([&] { return readText(marker()) == "ran\n"; })) << cli->screen();
        EXPECT_TRUE(cli->waitForScreen("Finished.")) << cli->screen();
        EXPECT_TRUE(processRuns(offer.helper)); // no signal reached it
        ASSERT_TRUE(offer.peer.send(answerLine("withdraw", offer.requestId)));
        EXPECT_TRUE(offer.peer.closedWithin());
        EXPECT_TRUE(waitUntil([&] { return processesRunning(helper()).empty(); }));
    }
    {
        // Escape: Claude Code ends the helper, which leaves nothing behind and prints nothing.
        TakenRequest offer = askThroughTheApp("echo ran > marker");
        ASSERT_TRUE(cli->answerPermissionDialog("Escape")) << cli->screen();
        EXPECT_TRUE(offer.peer.closedWithin());
        EXPECT_TRUE(waitUntil([&] { return !processRuns(offer.helper); }));
        EXPECT_TRUE(processesRunning(helper()).empty());
        EXPECT_FALSE(fs::exists(marker()));
        // A decision now reaches nobody: the next prompt is not touched by it.
        decide(offer, R"(,"behavior":"allow")");
        EXPECT_FALSE(fs::exists(marker()));
    }
}

TEST_F(PermissionCli, NeverHeldWithoutTheAppOrAUser) {
    {
        // No app: the event is recorded, the helper is gone at once, the dialog stays.
        prepare("echo ran > marker");
        ASSERT_TRUE(cli->start()) << cli->screen();
        cli->submit("Run the command");
        ASSERT_TRUE(cli->waitForScreen(dialog, 60s)) << cli->screen();
        EXPECT_TRUE(waitUntil([&] { return processesRunning(helper()).empty(); }, 5s));
        const json payload = json::parse(readText(seen()));
        const auto state = SessionFileStore::read(
            DataPaths::sessions(data()) / (payload.at("session_id").get<std::string>() + ".json"));
        ASSERT_TRUE(state);
        EXPECT_EQ(state->status, SessionStatus::needsApproval);
        std::this_thread::sleep_for(1500ms); // long enough for a decision to have closed it
        EXPECT_NE(cli->screen().find(dialog), std::string::npos) << cli->screen();
        EXPECT_FALSE(fs::exists(marker()));
        EXPECT_FALSE(fs::exists(data() / "hook.log")) << readText(data() / "hook.log");
    }
    {
        // `claude -p` runs to its end; the app never hears of its request.
        prepare("echo ran > marker");
        app.emplace(DataPaths::permissionSocket(data()));
        const Outcome printed =
            cli->print("Run the command", {"--permission-mode", "default"}, 120s);
        EXPECT_EQ(printed.code, 0) << printed.err;
        EXPECT_TRUE(fs::exists(seen())); // the request was made, and the hook ran on it
        EXPECT_FALSE(app->accept(0ms));
        EXPECT_TRUE(processesRunning(helper()).empty());
    }
}

} // namespace
} // namespace ostrelvan
