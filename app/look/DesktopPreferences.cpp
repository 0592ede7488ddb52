#include "app/look/DesktopPreferences.h"

#include <cmath>
#include <locale>
#include <sstream>

namespace ostrelvan::DesktopPreferencesRules {

namespace {
std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}
} // namespace

DesktopPreferences decide(const LinuxDesktopAnswers& answers) {
    DesktopPreferences preferences;
    if (answers.portalColorScheme == 1u || answers.portalColorScheme == 2u)
        preferences.dark = answers.portalColorScheme == 1u;
    else if (answers.gnomeColorScheme == "prefer-dark" ||
             answers.gnomeColorScheme == "prefer-light")
        preferences.dark = answers.gnomeColorScheme == "prefer-dark";
    else if (answers.gtkTheme && endsWith(*answers.gtkTheme, "-dark"))
        preferences.dark = true;
    else
        preferences.dark = answers.paletteDark;

    preferences.reduceMotion =
        answers.gnomeAnimations == false ||
        (answers.kdeAnimationFactor && std::abs(*answers.kdeAnimationFactor) < 1e-9);
    preferences.reduceTransparency = false;
    return preferences;
}

std::optional<double> kdeAnimationFactor(std::string_view kdeglobals) {
    bool inKde = false;
    std::optional<double> factor;
    while (!kdeglobals.empty()) {
        const auto end = kdeglobals.find('\n');
        const std::string_view line = trimmed(kdeglobals.substr(0, end));
        kdeglobals =
            end == std::string_view::npos ? std::string_view() : kdeglobals.substr(end + 1);
        if (line.starts_with('[')) {
            inKde = line == "[KDE]";
            continue;
        }
        const auto equals = line.find('=');
        if (!inKde || equals == std::string_view::npos)
            continue;
        if (trimmed(line.substr(0, equals)) != "AnimationDurationFactor")
            continue;
        const std::string_view value = trimmed(line.substr(equals + 1));
        // kdeglobals writes "0.5" whatever the user's locale, and Apple's library lacks the
        // floating-point from_chars on older systems: a stream in the classic locale reads it.
        std::istringstream in{std::string(value)};
        in.imbue(std::locale::classic());
        double parsed = 0;
        if (in >> parsed && in.peek() == std::char_traits<char>::eof())
            factor = parsed;
    }
    return factor;
}

} // namespace ostrelvan::DesktopPreferencesRules
