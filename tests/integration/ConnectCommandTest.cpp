#include "ConnectCommand.h"

#include "AppSettings.h"
#include "HookInstaller.h"
#include "MemoryKeyValueStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <sstream>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using namespace test;

// The front end's commands over a temporary home, data root and application folder.
struct Front {
    TempDir root;
    MemoryKeyValueStore defaults;
    AppSettings settings{defaults};
    std::ostringstream out;
    std::ostringstream err;
    cli::CommandContext context{{{"HOME", (root / "home").string()},
                                 {"OSTRELVAN_DATA_DIR", (root / "data/Ostrelvan").string()}},
                                root / "home",
                                root / "app",
                                settings,
                                out,
                                err,
                                {}};
    fs::path settingsFile() const { return root / "home/.claude/settings.json"; }
    fs::path helper() const { return root / "data/Ostrelvan/bin/ostrelvan-hook"; }
    std::string take(std::ostringstream& stream) {
        std::string text = stream.str();
        stream.str({});
        return text;
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
    cli::repairHooksIfNeeded(front.context);
    EXPECT_EQ(front.take(front.err), "");
    EXPECT_FALSE(fs::exists(front.helper()));

    // Connected, then one event's entry lost.
    writeText(front.settingsFile(), "{}");
    ASSERT_EQ(cli::connect(front.context), 0);
    auto settings = HookInstaller::readSettings(front.settingsFile());
    settings["hooks"].erase("Notification");
    HookInstaller::writeSettings(settings, front.settingsFile());
    const auto notice = cli::connectionNotice(front.context);
    ASSERT_TRUE(notice);
    EXPECT_NE(notice->find("incomplete"), std::string::npos);

    cli::repairHooksIfNeeded(front.context);
    EXPECT_EQ(front.take(front.err), "hooks: repairing hook entries\nhooks: connected\n");
    EXPECT_TRUE(HookInstaller::isInstalled(HookInstaller::readSettings(front.settingsFile()),
                                           front.helper().string()));
    // Intact entries: only the helper is brought up to date.
    writeText(front.root / "app/ostrelvan-hook", "#!/bin/sh\n# new\n");
    cli::repairHooksIfNeeded(front.context);
    EXPECT_EQ(front.take(front.err), "");
    EXPECT_EQ(readText(front.helper()), "#!/bin/sh\n# new\n");

    // All entries gone: a warning, then a repair.
    HookInstaller::writeSettings({{"model", "opus"}}, front.settingsFile());
    EXPECT_NE(cli::connectionNotice(front.context)->find("missing"), std::string::npos);
    cli::repairHooksIfNeeded(front.context);
    EXPECT_EQ(front.take(front.err), "hooks: repairing hook entries\nhooks: connected\n");

    // Unreadable: a warning with the reason, and no repair.
    writeText(front.settingsFile(), "[]");
    EXPECT_NE(cli::connectionNotice(front.context)->find("is not valid JSON"), std::string::npos);
    cli::repairHooksIfNeeded(front.context);
    EXPECT_EQ(front.take(front.err), "");
    EXPECT_EQ(readText(front.settingsFile()), "[]");
}

} // namespace
} // namespace ostrelvan
