#include "app/look/DesktopPreferences.h"
#include "app/look/DisplayServer.h"

#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

using DesktopPreferencesRules::decide;

DesktopPreferences preferences(bool dark, bool reduceMotion) {
    DesktopPreferences p;
    p.dark = dark;
    p.reduceMotion = reduceMotion;
    return p;
}

TEST(DesktopPreferencesRules, portalThenGnomeThenThemeThenPalette) {
    LinuxDesktopAnswers answers;
    answers.paletteDark = true;
    EXPECT_EQ(decide(answers), preferences(true, false)); // nothing answered: the palette
    answers.gtkTheme = "Adwaita-dark";
    answers.paletteDark = false;
    EXPECT_EQ(decide(answers), preferences(true, false));
    answers.gnomeColorScheme = "prefer-light";
    EXPECT_EQ(decide(answers), preferences(false, false));
    answers.gnomeColorScheme = "default"; // no choice made: on to the theme
    EXPECT_EQ(decide(answers), preferences(true, false));
    answers.portalColorScheme = 0; // no preference: on to GNOME
    answers.gnomeColorScheme = "prefer-dark";
    answers.gtkTheme = "Adwaita";
    EXPECT_EQ(decide(answers), preferences(true, false));
    answers.portalColorScheme = 2;
    EXPECT_EQ(decide(answers), preferences(false, false));
    answers.portalColorScheme = 7; // unknown values are no preference: GNOME's dark again
    EXPECT_EQ(decide(answers), preferences(true, false));
}

TEST(DesktopPreferencesRules, motionIsReducedByGnomeOrKde) {
    LinuxDesktopAnswers answers;
    EXPECT_FALSE(decide(answers).reduceMotion);
    answers.gnomeAnimations = true;
    answers.kdeAnimationFactor = 0.5;
    EXPECT_FALSE(decide(answers).reduceMotion);
    answers.kdeAnimationFactor.reset();
    answers.gnomeAnimations = false;
    EXPECT_TRUE(decide(answers).reduceMotion);
    EXPECT_FALSE(decide(answers).reduceTransparency);
}

TEST(DesktopPreferencesRules, readsKdeglobals) {
    using DesktopPreferencesRules::kdeAnimationFactor;
    EXPECT_EQ(kdeAnimationFactor("[General]\nColorScheme=BreezeDark\n\n[KDE]\n"
                                 "LookAndFeelPackage=org.kde.breezedark.desktop\n"
                                 "AnimationDurationFactor=0\n"),
              0.0);
    EXPECT_EQ(kdeAnimationFactor("[KDE]\r\n AnimationDurationFactor = 0.5 \r\n"), 0.5);
    // Only the [KDE] group counts, and only a whole number.
    EXPECT_EQ(kdeAnimationFactor("[Other]\nAnimationDurationFactor=0\n"), std::nullopt);
    EXPECT_EQ(kdeAnimationFactor("[KDE]\nAnimationDurationFactor=0.25x\n"), std::nullopt);
    EXPECT_EQ(kdeAnimationFactor(""), std::nullopt);
    EXPECT_EQ(kdeAnimationFactor("[KDE]\nAnimationDurationFactor=1\n[KDE][$i]\n"), 1.0);
}

TEST(DisplayServer, asksForXcbOnWaylandSessionsOnly) {
    using DisplayServer::preferredPlatform;
    EXPECT_EQ(preferredPlatform({}), std::nullopt);
    EXPECT_EQ(preferredPlatform({{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "x11"}}), std::nullopt);
    EXPECT_EQ(preferredPlatform({{"WAYLAND_DISPLAY", "wayland-0"}}), "xcb");
    EXPECT_EQ(preferredPlatform({{"XDG_SESSION_TYPE", "wayland"}}), "xcb");
    EXPECT_EQ(preferredPlatform({{"WAYLAND_DISPLAY", ""}, {"XDG_SESSION_TYPE", "tty"}}),
              std::nullopt);
    // The user's own choice stands; an empty one is no choice.
    EXPECT_EQ(preferredPlatform({{"WAYLAND_DISPLAY", "wayland-0"}, {"QT_QPA_PLATFORM", "wayland"}}),
              std::nullopt);
    EXPECT_EQ(preferredPlatform({{"WAYLAND_DISPLAY", "wayland-0"}, {"QT_QPA_PLATFORM", ""}}),
              "xcb");
}

TEST(DisplayServer, screenNumberOfADisplayName) {
    using DisplayServer::x11ScreenNumber;
    EXPECT_EQ(x11ScreenNumber(":0"), 0);
    EXPECT_EQ(x11ScreenNumber("host.example:10.1"), 1);
    EXPECT_EQ(x11ScreenNumber(""), 0);
    EXPECT_EQ(x11ScreenNumber(":0.x"), 0);
}

} // namespace
} // namespace ostrelvan
