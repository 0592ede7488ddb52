#include "app/platform/LaunchAtLogin.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

namespace ostrelvan::test {
namespace {

TEST(LaunchAtLogin, WritesTheAutostartEntryAndRemovesIt) {
    TempDir home;
    const Environment environment{{"HOME", home.path().string()}};
    const Path entry = home / ".config/autostart/ostrelvan.desktop";
    EXPECT_FALSE(LaunchAtLogin::isEnabled(environment));

    LaunchAtLogin::set(true, environment, "/opt/my apps/100%/ostrelvan-desktop");
    EXPECT_TRUE(LaunchAtLogin::isEnabled(environment));
    EXPECT_EQ(readText(entry), "[Desktop Entry]\n"
                               "Type=Application\n"
                               "Name=Ostrelvan\n"
                               "Comment=Claude Code sessions at a glance\n"
                               "Exec=\"/opt/my apps/100%%/ostrelvan-desktop\"\n"
                               "Icon=ostrelvan\n"
                               "Terminal=false\n"
                               "X-GNOME-Autostart-enabled=true\n");
    EXPECT_EQ(listing(entry.parent_path()), "ostrelvan.desktop\n");

    LaunchAtLogin::set(false, environment, "/usr/bin/ostrelvan-desktop");
    EXPECT_FALSE(std::filesystem::exists(entry));
    EXPECT_FALSE(LaunchAtLogin::isEnabled(environment));
    LaunchAtLogin::set(false, environment, "/usr/bin/ostrelvan-desktop"); // already off
}

TEST(LaunchAtLogin, ReadsTheStateBackFromTheFile) {
    TempDir home;
    const Environment environment{{"HOME", "/nonexistent"},
                                  {"XDG_CONFIG_HOME", (home / "cfg").string()}};
    const Path entry = home / "cfg/autostart/ostrelvan.desktop";
    LaunchAtLogin::set(true, environment, "/usr/bin/a\"b\\c");
    EXPECT_NE(readText(entry).find(R"(Exec="/usr/bin/a\\"b\\\\c")"), std::string::npos);
    // Switched off by a desktop's settings panel without deleting it.
    writeText(entry, "[Desktop Entry]\nExec=x\nX-GNOME-Autostart-enabled=false\n");
    EXPECT_FALSE(LaunchAtLogin::isEnabled(environment));
    writeText(entry, "[Desktop Entry]\nExec=x\nHidden=true\n");
    EXPECT_FALSE(LaunchAtLogin::isEnabled(environment));
    writeText(entry, "[Desktop Entry]\nExec=x\n");
    EXPECT_TRUE(LaunchAtLogin::isEnabled(environment));
    // A folder where the autostart folder should be: a clear error, nothing written.
    TempDir blocked;
    writeText(blocked / "autostart", "not a folder");
    EXPECT_THROW(LaunchAtLogin::set(true, {{"XDG_CONFIG_HOME", blocked.path().string()}}, "/x"),
                 std::runtime_error);
    EXPECT_EQ(readText(blocked / "autostart"), "not a folder");
}

} // namespace
} // namespace ostrelvan::test
