#include "app/platform/LaunchAtLogin.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

namespace ostrelvan::test {
namespace {

// A failure to write the entry shows in the app state's test.
TEST(LaunchAtLogin, WritesTheAutostartEntryReadsItBackAndRemovesIt) {
    TempDir home;
    Environment environment{{"HOME", home.path().string()}};
    Path entry = home / ".config/autostart/ostrelvan.desktop";
    EXPECT_FALSE(LaunchAtLogin::isEnabled(environment));

    LaunchAtLogin::set(true, environment, "/opt/my apps/100%/ostrelvan-desktop");
    EXPECT_TRUE(LaunchAtLogin::isEnabled(environment));
    const std::string written = readText(entry);
    EXPECT_EQ(written.rfind("[Desktop Entry]\nType=Application\n", 0), 0u) << written;
    EXPECT_NE(written.find("\nExec=\"/opt/my apps/100%%/ostrelvan-desktop\"\n"), std::string::npos);
    EXPECT_EQ(listing(entry.parent_path()), "ostrelvan.desktop\n");

    LaunchAtLogin::set(false, environment, "/usr/bin/ostrelvan-desktop");
    EXPECT_FALSE(std::filesystem::exists(entry));
    EXPECT_FALSE(LaunchAtLogin::isEnabled(environment));
    LaunchAtLogin::set(false, environment, "/usr/bin/ostrelvan-desktop"); // already off

    // XDG_CONFIG_HOME wins over HOME; the path is quoted as the desktop entry format wants.
    environment = {{"HOME", "/nonexistent"}, {"XDG_CONFIG_HOME", (home / "cfg").string()}};
    entry = home / "cfg/autostart/ostrelvan.desktop";
    LaunchAtLogin::set(true, environment, "/usr/bin/a\"b\\c");
    EXPECT_NE(readText(entry).find(R"(Exec="/usr/bin/a\\"b\\\\c")"), std::string::npos);
    // Switched off by a desktop's settings panel without deleting it.
    for (const auto& [text, enabled] : {std::pair{"X-GNOME-Autostart-enabled=false\n", false},
                                        std::pair{"Hidden=true\n", false}, std::pair{"", true}}) {
        writeText(entry, std::string("[Desktop Entry]\nExec=x\n") + text);
        EXPECT_EQ(LaunchAtLogin::isEnabled(environment), enabled) << text;
    }
}

} // namespace
} // namespace ostrelvan::test
