#include "HookConnection.h"

#include "HelperInstaller.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::readBytes;
using testing::TempDir;
using testing::writeBytes;

TEST(HookConnection, followsTheEntriesThroughConnectDamageAndDisconnect) {
    TempDir root;
    writeBytes(root / "app/ostrelvan-hook", "#!/bin/sh\n");
    const HookPaths paths{root / "home/.claude/settings.json",
                          root / "data/Ostrelvan/bin/ostrelvan-hook", root / "app/ostrelvan-hook"};
    EXPECT_EQ(HookConnection::health(paths), HookHealth::missing);

    const ConnectReport first = HookConnection::connect(paths);
    EXPECT_EQ(first, (ConnectReport{false, true, {paths.settingsFile, std::nullopt}}));
    EXPECT_EQ(HookConnection::health(paths), HookHealth::intact);
    EXPECT_TRUE(fs::exists(paths.helper));

    const ConnectReport second = HookConnection::connect(paths);
    EXPECT_EQ(second, (ConnectReport{true,
                                     false,
                                     {paths.settingsFile,
                                      root / "home/.claude/settings.json.ostrelvan-backup"}}));

    json settings = HookInstaller::readSettings(paths.settingsFile);
    settings["hooks"].erase("PreCompact");
    HookInstaller::writeSettings(settings, paths.settingsFile);
    EXPECT_EQ(HookConnection::health(paths), HookHealth::broken);
    HookPaths moved = paths;
    moved.helper = root / "elsewhere/Ostrelvan/bin/ostrelvan-hook";
    EXPECT_EQ(HookConnection::health(moved), HookHealth::broken);

    ASSERT_TRUE(HookConnection::disconnect(paths));
    EXPECT_EQ(HookConnection::health(paths), HookHealth::missing);
    EXPECT_FALSE(HookConnection::disconnect(paths));
    EXPECT_TRUE(fs::exists(paths.helper));
}

TEST(HookConnection, aMissingHelperLeavesTheSettingsFileAlone) {
    TempDir root;
    const HookPaths paths{root / "home/.claude/settings.json",
                          root / "data/Ostrelvan/bin/ostrelvan-hook",
                          HelperInstaller::bundledHelper(root / "app")};
    const std::string bytes = R"({"model": "opus"})";
    writeBytes(paths.settingsFile, bytes);
    EXPECT_THROW(HookConnection::connect(paths), HelperInstallerError);
    EXPECT_EQ(readBytes(paths.settingsFile), bytes);
    EXPECT_EQ(testing::listing(paths.settingsFile.parent_path()), "settings.json\n");
}

} // namespace
} // namespace ostrelvan
