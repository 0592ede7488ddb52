// The real Claude Code CLI asks to run a Bash command, with the hook helper that `ostrelvan
// connect` installed, where no user could answer from the desktop: it must never be held. (The
// answers given from the app are checked with the real app, in PermissionEndToEndTest.)
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

    TempDir root;
    std::optional<ClaudeCli> cli;
    std::optional<PermissionStandIn> app;
};

TEST_F(PermissionCli, NeverHeldWithoutTheAppOrAUser) {
    {
        // No app: the event is recorded, the helper is gone at once, the dialog stays.
        prepare("echo ran > marker");
        ASSERT_TRUE(cli->start()) << cli->screen();
        cli->submit("Run the command");
        ASSERT_TRUE(cli->waitForScreen(dialog, 60s)) << cli->screen();
        EXPECT_TRUE(eventually([&] { return processesRunning(helper()).empty(); }, 5s));
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
