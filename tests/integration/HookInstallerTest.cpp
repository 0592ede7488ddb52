#include "app/integration/HookInstaller.h"

#include "TestSupport.h"
#include "app/integration/HelperInstaller.h"
#include "app/integration/HookConnection.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using namespace test;
using nlohmann::json;

const std::string helperA = "/home/ana/.local/share/Ostrelvan/bin/ostrelvan-hook";
const std::string helperB = "/home/ana/Library/Application Support/Ostrelvan/bin/ostrelvan-hook";

// Serialised forms are compared rather than values: nlohmann's == holds 1 equal to 1.0.
std::string text(const json& document) {
    return HookInstaller::serialise(document);
}

// The events Claude Code must run the helper on, spelt out here rather than taken from the
// installer: the tool events match every tool, and a permission request may wait ten minutes for
// the user's answer while every other event is recorded within five seconds.
struct DocumentedEvent {
    std::string name;
    bool matchesEveryTool = false;
    int timeout = 5;
};
const DocumentedEvent documentedEvents[] = {
    {"SessionStart"},
    {"SessionEnd"},
    {"UserPromptSubmit"},
    {"PreToolUse", true},
    {"PostToolUse", true},
    {"PostToolUseFailure", true},
    {"PermissionRequest", true, 600},
    {"Notification"},
    {"Stop"},
    {"SubagentStart"},
    {"PreCompact"},
};

json documentedEntry(const DocumentedEvent& event, const std::string& command) {
    json entry = {
        {"hooks",
         json::array({{{"type", "command"}, {"command", command}, {"timeout", event.timeout}}})}};
    if (event.matchesEveryTool)
        entry["matcher"] = "*";
    return entry;
}

// What installing must give: every other key as it was; under "hooks", each of the eleven events'
// entries as they were (an empty list for a missing or malformed one), then the documented entry.
json expectedInstall(const json& original, const std::string& command) {
    json expected = original;
    json hooks = original.contains("hooks") && original["hooks"].is_object() ? original["hooks"]
                                                                             : json::object();
    for (const auto& event : documentedEvents) {
        json& entries = hooks[event.name];
        if (!entries.is_array())
            entries = json::array();
        entries.push_back(documentedEntry(event, command));
    }
    expected["hooks"] = hooks;
    return expected;
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
    forEachFixture(
        "valid", [](const TempDir& home, const fs::path& settingsFile, const std::string& bytes) {
            const json original = HookInstaller::readSettings(settingsFile);
            ASSERT_TRUE(original.is_object());
            EXPECT_EQ(text(HookInstaller::removing(original, helperA)), text(original));

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
            EXPECT_EQ(text(installed), text(expectedInstall(original, "\"" + helperA + "\"")));

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
            ASSERT_TRUE(HookInstaller::disconnect(settingsFile, helperA));
            EXPECT_EQ(text(HookInstaller::readSettings(settingsFile)), text(original));
            const std::string disconnectedBytes = readText(settingsFile);
            fs::remove(settingsFile.string() + ".ostrelvan-backup");
            EXPECT_FALSE(HookInstaller::disconnect(settingsFile, helperA));
            EXPECT_EQ(readText(settingsFile), disconnectedBytes);
            EXPECT_EQ(listing(home / ".claude"), "settings.json\n");
        });
}

// The user's editor may save settings.json while it is being connected: the edit stays and the
// entries go in over it; a file that never holds still is left as the user last wrote it.
TEST(HookInstaller, anEditWhileConnectingIsKept) {
    TempDir home;
    const fs::path file = home / ".claude/settings.json";
    writeText(file, R"({"model": "opus"})");
    const std::string edited = R"({"model": "sonnet", "theme": "dark"})";
    int calls = 0;
    const auto write = HookInstaller::update(file, [&](const json& settings) {
        if (++calls == 1)
            writeText(file, edited);
        return HookInstaller::installing(settings, helperA);
    });
    ASSERT_TRUE(write);
    EXPECT_EQ(calls, 2);
    const json now = HookInstaller::readSettings(file);
    EXPECT_EQ(now["model"], "sonnet");
    EXPECT_EQ(now["theme"], "dark");
    EXPECT_TRUE(HookInstaller::isInstalled(now, helperA));
    EXPECT_EQ(readText(*write->backup), edited);

    int edits = 0;
    const auto restless = [&] { return "{\"edits\": " + std::to_string(edits) + "}"; };
    EXPECT_THROW(HookInstaller::update(file,
                                       [&](const json& settings) {
                                           ++edits;
                                           writeText(file, restless());
                                           return HookInstaller::installing(settings, helperB);
                                       }),
                 std::system_error);
    EXPECT_GT(edits, 1);
    EXPECT_EQ(readText(file), restless());
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
                 [&] { HookConnection::disconnect(paths); },
                 [&] { HookConnection::connect(paths); },
             }) {
            try {
                attempt();
                ADD_FAILURE() << "no error";
            } catch (const HookInstallerError& error) {
                EXPECT_EQ(error.kind(), HookInstallerError::Kind::invalidJSON);
                EXPECT_EQ(error.what(), settingsFile.string() +
                                            " is not valid JSON, so Ostrelvan left it untouched.");
            }
        }
        EXPECT_EQ(HookConnection::health(paths), HookHealth::unreadable);
        EXPECT_EQ(readText(settingsFile), bytes);
        EXPECT_EQ(listing(home / ".claude"), "settings.json\n");
    });
}

TEST(HookInstaller, refusesNestingDeeperThanAnySettingsFile) {
    const fs::path file = "settings.json";
    const std::string deep = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
    EXPECT_THROW(HookInstaller::parseSettings(deep, file), HookInstallerError);
    const std::string fine = "{\"a\":" + std::string(200, '[') + std::string(200, ']') + "}";
    EXPECT_NO_THROW(HookInstaller::parseSettings(fine, file));
    EXPECT_NO_THROW(HookInstaller::parseSettings(R"({"a": "[[[[[[[[\"[[[[[[[[["})", file));
}

// The entries themselves are compared with the documented ones in the round trip.
TEST(HookInstaller, writesTheDocumentedFormat) {
    const json document = json::parse(R"({"b": 1, "a": 1.0, "url": "https://x/y", "ü": ["é"]})");
    EXPECT_EQ(HookInstaller::serialise(document),
              "{\n  \"a\": 1.0,\n  \"b\": 1,\n  \"url\": \"https://x/y\",\n  \"ü\": [\n    "
              "\"é\"\n  ]\n}\n");
    // A helper path that is not UTF-8 is written with replacement characters, not refused.
    EXPECT_NO_THROW(HookInstaller::serialise(HookInstaller::installing({}, "/a\xff/b")));
}

// Ours: every command carries the marker of the default data folder, or runs exactly this helper
// (as written now, or double-quoted as earlier versions wrote any path).
TEST(HookInstaller, ownsEntriesThatCarryTheMarkerOrRunThisHelper) {
    const std::string elsewhere = "/srv/data/bin/ostrelvan-hook";
    const auto command = [](const std::string& text) { return json(text).dump(); };
    const std::string ours = command(HookInstaller::command(helperA));
    const std::string odd = "/srv/a \"b\"/bin/ostrelvan-hook";
    // The helper, an entry, whether it is ours.
    const std::vector<std::tuple<std::string, std::string, bool>> cases = {
        {elsewhere, R"({"hooks": [{"type": "command", "command": )" + ours + "}]}", true},
        {elsewhere,
         R"({"matcher": "*", "hooks": [{"command": )" + ours + "}, {\"command\": " + ours + "}]}",
         true},
        {elsewhere, R"({"hooks": [{"command": "/opt/Ostrelvan/bin/ostrelvan-hook --old"}]})", true},
        {elsewhere, R"({"hooks": [{"command": "\"/srv/data/bin/ostrelvan-hook\""}]})", true},
        {odd, R"({"hooks": [{"command": )" + command(HookInstaller::command(odd)) + "}]}", true},
        {odd, R"({"hooks": [{"command": )" + command("\"" + odd + "\"") + "}]}", true},
        {odd, R"({"hooks": [{"command": "\"/srv/data/bin/ostrelvan-hook\""}]})", false},
        {elsewhere, R"({"hooks": [{"command": "/srv/data/bin/ostrelvan-hook"}]})", false},
        {elsewhere, R"({"hooks": [{"command": "\"/srv/data/bin/ostrelvan-hook\" -v"}]})", false},
        {elsewhere, R"({"hooks": [{"command": "\"/srv/other/bin/ostrelvan-hook\""}]})", false},
        {elsewhere, R"({"hooks": [{"command": )" + ours + R"(}, {"command": "logger x"}]})", false},
        {elsewhere, R"({"hooks": []})", false},
        {elsewhere, R"({"hooks": {"command": )" + ours + "}}", false},
        {elsewhere, "null", false},
    };
    for (const auto& [helper, entry, owned] : cases) {
        EXPECT_EQ(HookInstaller::isOwned(json::parse(entry), helper), owned) << entry;
        const json settings = {{"hooks", {{"Stop", json::array({json::parse(entry)})}}}};
        EXPECT_EQ(HookInstaller::removing(settings, helper).contains("hooks"), !owned) << entry;
    }
    // A path that older versions broke in double quotes is ours but not intact: it is rewritten.
    json broken = {{"hooks", json::object()}};
    for (const auto& event : documentedEvents)
        broken["hooks"][event.name] = {documentedEntry(event, "\"" + odd + "\"")};
    EXPECT_FALSE(HookInstaller::isInstalled(broken, odd));
    EXPECT_EQ(text(HookInstaller::installing(broken, odd)),
              text(HookInstaller::installing({}, odd)));
    // A helper outside a folder named Ostrelvan, and entries piled up twice per event, are
    // ConnectCommandTest's.
}

// The command as /bin/sh reads it: each path runs its own file, whatever it holds.
TEST(HookInstaller, quotesTheHelperPathForTheShell) {
    EXPECT_EQ(HookInstaller::command("/a b/it's/ostrelvan-hook"), "\"/a b/it's/ostrelvan-hook\"");
    EXPECT_EQ(HookInstaller::command("/a \"b\" it's/ostrelvan-hook"),
              "'/a \"b\" it'\\''s/ostrelvan-hook'");
    TempDir root;
    // The shell's own characters in a path are in the command line's end-to-end test.
    for (const std::string folder : {"it's", "back\\slash", "all of \" $PATH `x` \\ it's"}) {
        SCOPED_TRACE(folder);
        const fs::path helper = root / folder / "bin/ostrelvan-hook";
        writeText(helper, "#!/bin/sh\necho \"$0\" > \"$RAN\"\n");
        fs::permissions(helper, fs::perms::owner_all);
        const json installed = HookInstaller::installing({}, helper.string());
        const std::string command = installed["hooks"]["Stop"][0]["hooks"][0]["command"];
        const Outcome shell = run({"/bin/sh", "-c", command},
                                  Variables{{"RAN", (root / "ran").string()}, {"PATH", "/bin"}});
        EXPECT_EQ(shell.code, 0) << shell.err;
        EXPECT_EQ(shell.err, "");
        EXPECT_EQ(readText(root / "ran"), helper.string() + "\n");
        fs::remove(root / "ran");
    }
}

// An emptied "hooks" object goes in the round trip; what is not an entry of ours stays.
TEST(HookInstaller, removingLeavesWhatIsNotAnEntryOfOurs) {
    const json ours = HookInstaller::installing(json::object(), helperA)["hooks"]["Stop"][0];
    EXPECT_EQ(
        HookInstaller::removing({{"hooks", {{"Stop", {ours, "keep"}}, {"Custom", 7}}}}, helperA),
        json({{"hooks", {{"Stop", {"keep"}}, {"Custom", 7}}}}));
}

// A settings file that is not there yet is made by `connect` in the command line's end-to-end test.
TEST(HookInstaller, keepsTheModeOfAnExistingFile) {
    TempDir home;
    const fs::path settingsFile = home / "config/claude/settings.json";
    HookInstaller::writeSettings(HookInstaller::installing({}, helperA), settingsFile);
    fs::permissions(settingsFile, fs::perms::owner_read | fs::perms::owner_write);
    HookInstaller::disconnect(settingsFile, helperA);
    EXPECT_EQ(mode(settingsFile), 0600u);
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

    ASSERT_TRUE(HookInstaller::disconnect(link, helperA));
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

ino_t inode(const fs::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

TEST(HelperInstaller, installsKeepsAndReplacesTheHelper) {
    TempDir root;
    const fs::path source = root / "app/ostrelvan-hook";
    const fs::path destination = root / "data/Ostrelvan/bin/ostrelvan-hook";
    writeText(source, "#!/bin/sh\necho v1\n");

    // Beside it, the mark that tells the helper it is the copy installed for this data folder.
    const std::string installed = "ostrelvan-hook\nostrelvan-hook.installed\n";
    EXPECT_TRUE(HelperInstaller::refresh(source, destination));
    EXPECT_EQ(mode(destination), 0755u);
    EXPECT_EQ(readText(destination), readText(source));
    EXPECT_EQ(listing(destination.parent_path()), installed);

    // Unchanged: nothing is touched. The time is moved back first so a rewrite would show.
    const auto past = fs::file_time_type::clock::now() - std::chrono::hours(24);
    fs::last_write_time(destination, past);
    const ino_t first = inode(destination);
    EXPECT_FALSE(HelperInstaller::refresh(source, destination));
    EXPECT_EQ(fs::last_write_time(destination), past);
    EXPECT_EQ(inode(destination), first);
    EXPECT_EQ(listing(destination.parent_path()), installed);
    // A lost mark is put back, the helper still untouched.
    fs::remove(destination.parent_path() / "ostrelvan-hook.installed");
    EXPECT_FALSE(HelperInstaller::refresh(source, destination));
    EXPECT_EQ(listing(destination.parent_path()), installed);
    EXPECT_EQ(inode(destination), first);

    // Changed: a new file is renamed over the old one, so a running hook keeps reading its own.
    writeText(source, "#!/bin/sh\necho v2 is longer\n");
    EXPECT_TRUE(HelperInstaller::refresh(source, destination));
    EXPECT_EQ(readText(destination), readText(source));
    EXPECT_NE(inode(destination), first);
    EXPECT_EQ(listing(destination.parent_path()), installed);

    // Same bytes but not executable: replaced.
    fs::permissions(destination, fs::perms(0644));
    EXPECT_TRUE(HelperInstaller::refresh(source, destination));
    EXPECT_EQ(mode(destination), 0755u);
}

TEST(HelperInstaller, failsWithoutHelperOrPlace) {
    TempDir root;
    const fs::path destination = root / "data/bin/ostrelvan-hook";
    const auto failure = [&](const std::optional<fs::path>& source) {
        try {
            HelperInstaller::refresh(source, destination);
        } catch (const HelperInstallerError& error) {
            return std::optional(error.kind());
        }
        return std::optional<HelperInstallerError::Kind>();
    };
    // No helper where it is expected: nothing is made.
    EXPECT_EQ(failure(root / "nothing-here"), HelperInstallerError::Kind::missingBundledHelper);
    EXPECT_FALSE(fs::exists(root / "data"));

    // A folder where the helper belongs cannot be renamed over.
    writeText(root / "ostrelvan-hook", "#!/bin/sh\n");
    writeText(destination / "keep", "x");
    EXPECT_EQ(failure(root / "ostrelvan-hook"), HelperInstallerError::Kind::fileWriteUnknown);
    EXPECT_EQ(listing(destination.parent_path()), "ostrelvan-hook\nostrelvan-hook.installed\n");
    EXPECT_EQ(listing(destination), "keep\n");
}

} // namespace
} // namespace ostrelvan
