#include "HookInstaller.h"

#include "HookConnection.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using namespace test;
using nlohmann::json;

const std::string helperA = "/home/ana/.local/share/Ostrelvan/bin/ostrelvan-hook";
const std::string helperB = "/home/ana/Library/Application Support/Ostrelvan/bin/ostrelvan-hook";
const std::string invalidText =
    "~/.claude/settings.json is not valid JSON, so Ostrelvan left it untouched.";

// Serialised forms are compared rather than values: nlohmann's == holds 1 equal to 1.0.
std::string text(const json& document) {
    return HookInstaller::serialise(document);
}

// Runs `check(home, settings file, its bytes)` with each fixture of a kind as the settings file
// of a fresh home.
template <class Check> void forEachFixture(const char* kind, Check check) {
    std::vector<fs::path> files{fs::directory_iterator(fs::path(OSTRELVAN_FIXTURES) / kind), {}};
    std::sort(files.begin(), files.end());
    ASSERT_GE(files.size(), 8u);
    for (const auto& fixture : files) {
        SCOPED_TRACE(fixture.filename().string());
        TempDir home;
        const std::string bytes = readText(fixture);
        writeText(home / ".claude/settings.json", bytes);
        check(home, home / ".claude/settings.json", bytes);
    }
}

TEST(HookInstaller, everyValidSettingsFileRoundTrips) {
    forEachFixture("valid", [](const TempDir& home, const fs::path& settingsFile,
                               const std::string& bytes) {
        const json original = HookInstaller::readSettings(settingsFile);
        ASSERT_TRUE(original.is_object());
        EXPECT_EQ(text(HookInstaller::removing(original)), text(original));

        const json installed = HookInstaller::installing(original, helperA);
        const auto write = HookInstaller::writeSettings(installed, settingsFile);
        EXPECT_EQ(write.file, fs::canonical(settingsFile));
        ASSERT_TRUE(write.backup);
        EXPECT_EQ(readText(*write.backup), bytes);
        const std::string installedBytes = readText(settingsFile);
        EXPECT_EQ(installedBytes, text(installed));
        EXPECT_TRUE(HookInstaller::isInstalled(installed, helperA));
        EXPECT_FALSE(HookInstaller::isInstalled(installed, helperB));
        EXPECT_FALSE(HookInstaller::isInstalled(original, helperA));

        // Foreign entries keep their place; ours comes last; other keys are as they were.
        json othersBefore = original, othersAfter = installed;
        othersBefore.erase("hooks"), othersAfter.erase("hooks");
        EXPECT_EQ(text(othersAfter), text(othersBefore));
        const json before = original.value("hooks", json::object());
        for (const auto& [name, entries] : installed["hooks"].items()) {
            json foreign = entries;
            if (foreign.is_array() && !foreign.empty() && HookInstaller::isOwned(foreign.back()))
                foreign.erase(foreign.size() - 1);
            EXPECT_EQ(text(foreign), text(before.value(name, json::array()))) << name;
        }

        // Installing twice writes the very same bytes as installing once.
        HookInstaller::writeSettings(
            HookInstaller::installing(HookInstaller::readSettings(settingsFile), helperA),
            settingsFile);
        EXPECT_EQ(readText(settingsFile), installedBytes);

        // A moved helper is no longer installed; reinstalling replaces every old entry.
        const json moved = HookInstaller::installing(installed, helperB);
        EXPECT_FALSE(HookInstaller::isInstalled(moved, helperA));
        EXPECT_EQ(text(moved), text(HookInstaller::installing(original, helperB)));

        // Disconnecting gives back the original document; a second disconnect writes nothing.
        ASSERT_TRUE(HookInstaller::disconnect(settingsFile));
        EXPECT_EQ(text(HookInstaller::readSettings(settingsFile)), text(original));
        const std::string disconnectedBytes = readText(settingsFile);
        fs::remove(settingsFile.string() + ".ostrelvan-backup");
        EXPECT_FALSE(HookInstaller::disconnect(settingsFile));
        EXPECT_EQ(readText(settingsFile), disconnectedBytes);
        EXPECT_EQ(listing(home / ".claude"), "settings.json\n");
    });
}

TEST(HookInstaller, invalidSettingsFilesAreNeverWritten) {
    TempDir app;
    writeText(app / "ostrelvan-hook", "#!/bin/sh\n");
    forEachFixture("invalid", [&](const TempDir& home, const fs::path& settingsFile,
                                  const std::string& bytes) {
        const HookPaths paths{settingsFile, home / "data/Ostrelvan/bin/ostrelvan-hook",
                              app / "ostrelvan-hook"};
        for (const auto& attempt : std::vector<std::function<void()>>{
                 [&] { HookInstaller::readSettings(settingsFile); },
                 [&] { HookInstaller::disconnect(settingsFile); },
                 [&] { HookConnection::connect(paths); },
             }) {
            try {
                attempt();
                ADD_FAILURE() << "no error";
            } catch (const HookInstallerError& error) {
                EXPECT_EQ(error.kind(), HookInstallerError::Kind::invalidJSON);
                EXPECT_EQ(error.what(), invalidText);
            }
        }
        EXPECT_EQ(HookConnection::health(paths), HookHealth::unreadable);
        EXPECT_EQ(readText(settingsFile), bytes);
        EXPECT_EQ(listing(home / ".claude"), "settings.json\n");
    });
}

TEST(HookInstaller, refusesNestingDeeperThanAnySettingsFile) {
    const std::string deep = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
    EXPECT_THROW(HookInstaller::parseSettings(deep), HookInstallerError);
    const std::string fine = "{\"a\":" + std::string(200, '[') + std::string(200, ']') + "}";
    EXPECT_NO_THROW(HookInstaller::parseSettings(fine));
    EXPECT_NO_THROW(HookInstaller::parseSettings(R"({"a": "[[[[[[[[\"[[[[[[[[["})"));
}

TEST(HookInstaller, writesTheDocumentedEntryAndFormat) {
    const json installed = HookInstaller::installing(json::object(), helperB);
    const std::string quoted = "\"" + helperB + "\"";
    EXPECT_EQ(installed["hooks"]["Stop"],
              json::parse(R"([{"hooks": [{"type": "command", "timeout": 5, "command": )" +
                          json(quoted).dump() + "}]}]"));
    EXPECT_EQ(installed["hooks"]["PermissionRequest"][0]["matcher"], "*");

    const json document = json::parse(R"({"b": 1, "a": 1.0, "url": "https://x/y", "ü": ["é"]})");
    EXPECT_EQ(HookInstaller::serialise(document),
              "{\n  \"a\": 1.0,\n  \"b\": 1,\n  \"url\": \"https://x/y\",\n  \"ü\": [\n    "
              "\"é\"\n  ]\n}\n");
    // A helper path that is not UTF-8 is written with replacement characters, not refused.
    EXPECT_NO_THROW(HookInstaller::serialise(HookInstaller::installing({}, "/a\xff/b")));
}

TEST(HookInstaller, ownsOnlyEntriesWhoseEveryCommandCarriesTheMarker) {
    const std::string ours = json(HookInstaller::command(helperA)).dump();
    const std::vector<std::pair<std::string, bool>> cases = {
        {R"({"hooks": [{"type": "command", "command": )" + ours + "}]}", true},
        {R"({"matcher": "*", "hooks": [{"command": )" + ours + "}, {\"command\": " + ours + "}]}",
         true},
        {R"({"hooks": [{"command": "/opt/Ostrelvan/bin/ostrelvan-hook --old"}]})", true},
        {R"({"hooks": [{"command": )" + ours + R"(}, {"command": "logger x"}]})", false},
        {R"({"hooks": [{"command": )" + ours + R"(}, {"type": "prompt"}]})", false},
        {R"({"hooks": [{"command": 5}]})", false},
        {R"({"hooks": []})", false},
        {R"({"hooks": {"command": )" + ours + "}}", false},
        {R"({"hooks": [)" + ours + "]}", false},
        {R"({"command": )" + ours + "}", false},
        {ours, false},
        {"null", false},
    };
    for (const auto& [entry, owned] : cases) {
        EXPECT_EQ(HookInstaller::isOwned(json::parse(entry)), owned) << entry;
        const json settings = {{"hooks", {{"Stop", json::array({json::parse(entry)})}}}};
        EXPECT_EQ(HookInstaller::removing(settings).contains("hooks"), !owned) << entry;
    }

    // A helper outside a folder named Ostrelvan is never recognised as ours.
    const json elsewhere =
        HookInstaller::installing(json::object(), "/srv/data/bin/ostrelvan-hook");
    EXPECT_FALSE(HookInstaller::isInstalled(elsewhere, "/srv/data/bin/ostrelvan-hook"));
    EXPECT_EQ(HookInstaller::removing(elsewhere), elsewhere);
}

TEST(HookInstaller, removingDropsEmptiedKeysAndNothingElse) {
    const json ours = HookInstaller::installing(json::object(), helperA)["hooks"]["Stop"][0];
    const json settings = {{"model", "opus"},
                           {"hooks", {{"Stop", {ours}}, {"SubagentStop", {ours}}}}};
    EXPECT_EQ(HookInstaller::removing(settings), json({{"model", "opus"}}));
    const json partly = {{"hooks", {{"Stop", {ours, "keep"}}, {"Custom", 7}}}};
    EXPECT_EQ(HookInstaller::removing(partly),
              json({{"hooks", {{"Stop", {"keep"}}, {"Custom", 7}}}}));
}

TEST(HookInstaller, createsAMissingFileWithoutBackupAndKeepsTheModeOfAnExistingOne) {
    TempDir home;
    const fs::path settingsFile = home / "config/claude/settings.json";
    EXPECT_EQ(text(HookInstaller::readSettings(settingsFile)), "{}\n");
    const auto write =
        HookInstaller::writeSettings(HookInstaller::installing({}, helperA), settingsFile);
    EXPECT_FALSE(write.backup);
    EXPECT_EQ(listing(settingsFile.parent_path()), "settings.json\n");
    EXPECT_EQ(HookInstaller::readSettings(settingsFile).size(), 1u);

    fs::permissions(settingsFile, fs::perms::owner_read | fs::perms::owner_write);
    HookInstaller::disconnect(settingsFile);
    EXPECT_EQ(fs::status(settingsFile).permissions() & fs::perms::mask,
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(readText(settingsFile), "{}\n");
}

TEST(HookInstaller, followsASymlinkedSettingsFileAndKeepsTheLink) {
    TempDir home;
    const fs::path target = home / "dotfiles/claude/settings.json";
    const fs::path link = home / ".claude/settings.json";
    const std::string original = R"({"model": "opus"})";
    writeText(target, original);
    fs::create_directories(link.parent_path());
    fs::create_symlink("../dotfiles/claude/settings.json", link);

    const auto write = HookInstaller::writeSettings(
        HookInstaller::installing(HookInstaller::readSettings(link), helperA), link);
    EXPECT_EQ(write.file, fs::canonical(target));
    ASSERT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::read_symlink(link), "../dotfiles/claude/settings.json");
    EXPECT_TRUE(HookInstaller::isInstalled(HookInstaller::readSettings(target), helperA));
    EXPECT_EQ(write.backup, home / ".claude/settings.json.ostrelvan-backup");
    EXPECT_EQ(readText(home / ".claude/settings.json.ostrelvan-backup"), original);
    EXPECT_EQ(listing(target.parent_path()), "settings.json\n");

    ASSERT_TRUE(HookInstaller::disconnect(link));
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(HookInstaller::readSettings(target), json::parse(original));

    // A link whose target does not exist yet gets the target created; ".." in a link inside a
    // linked folder counts from the folder's real place.
    fs::create_directories(home / "dotfiles/real-claude");
    fs::create_symlink(home / "dotfiles/real-claude", home / "linked");
    fs::create_symlink("../shared/settings.json", home / "linked/settings.json");
    HookInstaller::writeSettings(HookInstaller::installing({}, helperA),
                                 home / "linked/settings.json");
    EXPECT_TRUE(fs::is_symlink(home / "linked/settings.json"));
    EXPECT_TRUE(HookInstaller::isInstalled(
        HookInstaller::readSettings(home / "dotfiles/shared/settings.json"), helperA));
}

// Root writes into read-only folders, so the scenario runs as an unprivileged user when needed.
bool readOnlyFolderIsLeftAlone(const fs::path& home) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
        return false;
    const fs::path folder = home / ".claude";
    const fs::path settingsFile = folder / "settings.json";
    const std::string bytes = R"({"model": "opus"})";
    writeText(settingsFile, bytes);
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    bool failed = false;
    try {
        HookInstaller::writeSettings(
            HookInstaller::installing(HookInstaller::readSettings(settingsFile), helperA),
            settingsFile);
    } catch (const std::runtime_error& error) {
        failed = true;
        std::fprintf(stderr, "error: %s\n", error.what());
    }
    return failed && readText(settingsFile) == bytes && listing(folder) == "settings.json\n";
}

TEST(HookInstaller, aReadOnlyFolderGivesAnErrorAndNoDamage) {
    TempDir scratch;
    fs::permissions(scratch.path(),
                    fs::perms::all & ~fs::perms::others_write & ~fs::perms::group_write);
    const fs::path home = scratch / "home";
    fs::create_directory(home);
    fs::permissions(home, fs::perms::all);
    EXPECT_EXIT(std::exit(readOnlyFolderIsLeftAlone(home) ? 0 : 1), ::testing::ExitedWithCode(0),
                "error: .*Permission denied");
    fs::permissions(home / ".claude", fs::perms::owner_all, fs::perm_options::add); // to remove it
}

} // namespace
} // namespace ostrelvan
