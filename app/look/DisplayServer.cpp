#include "app/look/DisplayServer.h"

#include <charconv>

namespace ostrelvan::DisplayServer {

std::optional<std::string> preferredPlatform(const Environment& environment) {
    if (nonEmpty(environment, "QT_QPA_PLATFORM"))
        return std::nullopt;
    const bool wayland = nonEmpty(environment, "WAYLAND_DISPLAY").has_value() ||
                         nonEmpty(environment, "XDG_SESSION_TYPE") == "wayland";
    if (!wayland)
        return std::nullopt;
    return "xcb";
}

int x11ScreenNumber(std::string_view display) {
    const auto colon = display.rfind(':');
    if (colon == std::string_view::npos)
        return 0;
    const auto dot = display.find('.', colon);
    if (dot == std::string_view::npos)
        return 0;
    const std::string_view digits = display.substr(dot + 1);
    int screen = 0;
    const auto [rest, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), screen);
    if (error != std::errc() || rest != digits.data() + digits.size() || screen < 0)
        return 0;
    return screen;
}

} // namespace ostrelvan::DisplayServer
