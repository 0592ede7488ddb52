#include "cli/ConnectCommand.h"

#include "TestSupport.h"
#include "app/integration/HookInstaller.h"
#include "app/services/AppSettings.h"
#include "app/store/MemoryKeyValueStore.h"

#include <gtest/gtest.h>
#include <sstream>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using namespace test;
using nlohmann::json;

const std::string repairing = "hooks: repairing hook entries\nhooks: connected\n";

// The front end's commands over a temporary home, data root and application folder.
struct Front {
    explicit Front(std::string dataFolder = "data/Ostrelvan") : data(root / dataFolder) {}

    TempDir root;
    fs::path data;
    MemoryKeyValueStore defaults;
    AppSettings settings{defaults};
    std::ostringstream out;
    std::ostringstream err;
    cli::CommandContext context{
        {{"HOME", (root / "home").string()}, {"OSTRELVAN_DATA_DIR", data.string()}},
        root / "home",
        root / "app",
        settings,
        out,
        err,
        {}};
    fs::path settingsFile() const { return root / "home/.claude/settings.json"; }
    fs::path helper() const { return data / "bin/ostrelvan-hook"; }
    json settingsNow() const { return HookInstaller::readSettings(settingsFile()); }
    bool installed() const { return HookInstaller::isInstalled(settingsNow(), helper().string()); }
    std::string take(std::ostringstream& stream) {
        std::string text = stream.str();
        stream.str({});
        return text;
    }
    // What start-up's repair wrote on standard error.
    std::string repair() {
        cli::repairHooksIfNeeded(context);
        return take(err);
    }
};

// A settings file that does not parse, and a folder Claude Code was moved to, show in the
// end-to-end test.
TEST(ConnectCommand, failsWithoutTheBundledHelperAndLeavesTheSettingsAlone) {
    Front front;
    writeText(front.settingsFile(), "{}");
    EXPECT_EQ(cli::connect(front.context), 1);
    EXPECT_NE(front.take(front.err).find("hook helper ostrelvan-hook is missing"),
              std::string::npos);
    EXPECT_EQ(readText(front.settingsFile()), "{}");
    EXPECT_FALSE(front.settings.hooksConnected());
}

TEST(ConnectCommand, repairsBrokenEntriesOnlyWhenConnected) {
    Front front;
    writeText(front.root / "app/ostrelvan-hook", "#!/bin/sh\n");

    // Never connected: the settings file is not even read.
    writeText(front.settingsFile(), "not json");
    EXPECT_EQ(front.repair(), "");
    EXPECT_FALSE(fs::exists(front.helper()));

    // Connected, then one event's entry lost.
    writeText(front.settingsFile(), "{}");
    ASSERT_EQ(cli::connect(front.context), 0);
    auto settings = front.settingsNow();
    settings["hooks"].erase("Notification");
    HookInstaller::writeSettings(settings, front.settingsFile());
    const auto notice = cli::connectionNotice(front.context);
    ASSERT_TRUE(notice);
    EXPECT_NE(notice->find("incomplete"), std::string::npos);

    EXPECT_EQ(front.repair(), repairing);
    EXPECT_TRUE(front.installed());
    // Intact entries: only the helper is brought up to date.
    writeText(front.root / "app/ostrelvan-hook", "#!/bin/sh\n# new\n");
    EXPECT_EQ(front.repair(), "");
    EXPECT_EQ(readText(front.helper()), "#!/bin/sh\n# new\n");

    // Entries written by an earlier version, which gave a permission request 5 s like every other
    // event, beside the user's own hook on it: still ours, and brought up to date.
    settings = front.settingsNow();
    for (auto& [event, entries] : settings["hooks"].items())
        entries[0]["hooks"][0]["timeout"] = 5;
    settings["hooks"]["PermissionRequest"].push_back(
        {{"matcher", "Bash"}, {"hooks", {{{"type", "command"}, {"command", "mine"}}}}});
    HookInstaller::writeSettings(settings, front.settingsFile());
    EXPECT_FALSE(front.installed());
    EXPECT_EQ(front.repair(), repairing);
    const json hooks = front.settingsNow()["hooks"];
    ASSERT_EQ(hooks["PermissionRequest"].size(), 2u);
    EXPECT_EQ(hooks["PermissionRequest"][0]["hooks"][0]["command"], "mine");
    EXPECT_EQ(hooks["PermissionRequest"][1]["hooks"][0]["timeout"], 600);
    EXPECT_EQ(hooks["PreToolUse"][0]["hooks"][0]["timeout"], 5);
    EXPECT_TRUE(front.installed());
    EXPECT_EQ(front.repair(), "");

    // All entries gone: a warning, then a repair.
    HookInstaller::writeSettings({{"model", "opus"}}, front.settingsFile());
    EXPECT_NE(cli::connectionNotice(front.context)->find("missing"), std::string::npos);
    EXPECT_EQ(front.repair(), repairing);

    // Unreadable: a warning with the reason, and no repair.
    writeText(front.settingsFile(), "[]");
    EXPECT_NE(cli::connectionNotice(front.context)->find("is not valid JSON"), std::string::npos);
    EXPECT_EQ(front.repair(), "");
    EXPECT_EQ(readText(front.settingsFile()), "[]");
}

// Entries are recognised by the helper they run, so a data folder of any name neither piles them
// up on every connect and start-up repair nor leaves them behind on disconnect. Intact entries are
// exactly one of ours per event.
TEST(ConnectCommand, aDataFolderOfAnyNameKeepsOneEntryPerEvent) {
    Front front("data/x");
    writeText(front.root / "app/ostrelvan-hook", "#!/bin/sh\n");
    const std::string original = R"({"model": "opus", "hooks": {"Stop": [{"hooks": [)"
                                 R"({"type": "command", "command": "notify-send done"}]}]}})";
    writeText(front.settingsFile(), original);

    ASSERT_EQ(cli::connect(front.context), 0);
    const std::string connected = readText(front.settingsFile());
    ASSERT_EQ(cli::connect(front.context), 0);
    EXPECT_EQ(front.take(front.err), "");
    EXPECT_NE(front.take(front.out).find("in place already, so nothing was changed"),
              std::string::npos);
    EXPECT_EQ(front.repair(), "");
    EXPECT_EQ(readText(front.settingsFile()), connected);
    EXPECT_TRUE(front.installed());
    EXPECT_EQ(cli::connectionNotice(front.context), std::nullopt);

    // Settings that earlier versions piled up are cleaned by the next start-up repair.
    auto piled = front.settingsNow();
    for (auto& [event, entries] : piled["hooks"].items())
        entries.push_back(entries.back());
    HookInstaller::writeSettings(piled, front.settingsFile());
    EXPECT_NE(cli::connectionNotice(front.context)->find("incomplete"), std::string::npos);
    EXPECT_EQ(front.repair(), repairing);
    EXPECT_EQ(readText(front.settingsFile()), connected);

    ASSERT_EQ(cli::disconnect(front.context), 0);
    EXPECT_EQ(front.settingsNow(), json::parse(original));
}

} // namespace
} // namespace ostrelvan
