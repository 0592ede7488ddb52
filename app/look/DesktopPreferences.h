#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ostrelvan {

// What the desktop asks of the widget's look.
struct DesktopPreferences {
    bool dark = false;
    bool reduceMotion = false;
    bool reduceTransparency = false;

    bool operator==(const DesktopPreferences&) const = default;
};

// The answers a Linux desktop gave, each absent when nothing answered. They are decided in one
// pure step, so that every combination can be tried without a desktop.
struct LinuxDesktopAnswers {
    // The portal's org.freedesktop.appearance color-scheme: 0 no preference, 1 dark, 2 light.
    std::optional<unsigned> portalColorScheme;
    // GNOME's org.gnome.desktop.interface keys.
    std::optional<std::string> gnomeColorScheme; // "default", "prefer-dark", "prefer-light"
    std::optional<std::string> gtkTheme;         // "Adwaita-dark" on older desktops
    std::optional<bool> gnomeAnimations;
    // KDE's kdeglobals [KDE] AnimationDurationFactor; 0 turns animations off.
    std::optional<double> kdeAnimationFactor;
    // Whether the application palette's window colour is dark: the last resort.
    bool paletteDark = false;
};

namespace DesktopPreferencesRules {

// The portal decides when it has a preference, then GNOME's colour scheme, then a GTK theme
// named "...-dark", then the palette. Motion is reduced when GNOME's animations are off or KDE's
// factor is 0. Linux desktops have no reduce-transparency setting.
DesktopPreferences decide(const LinuxDesktopAnswers& answers);

// The [KDE] AnimationDurationFactor of a kdeglobals file's text.
std::optional<double> kdeAnimationFactor(std::string_view kdeglobals);

} // namespace DesktopPreferencesRules

} // namespace ostrelvan
