#include "app/integration/HelperInstaller.h"

#include "TestSupport.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace ostrelvan {
namespace {

namespace fs = std::filesystem;
using namespace test;

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
    EXPECT_EQ(fs::status(destination).permissions() & fs::perms::mask, fs::perms(0755));
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
    EXPECT_EQ(fs::status(destination).permissions() & fs::perms::mask, fs::perms(0755));
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
    EXPECT_EQ(failure(std::nullopt), HelperInstallerError::Kind::missingBundledHelper);
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
