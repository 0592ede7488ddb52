#pragma once

// The screen of a private X session as a user sees it: whole screenshots taken from outside with
// ImageMagick's import, the pointer moved with xdotool, the work area the window manager gives.
#include "DesktopScene.h"

#include <cstdio>
#include <sstream>

namespace ostrelvan::test {

struct Rgb {
    int r = 0, g = 0, b = 0;
};

struct Screenshot {
    int width = 0;
    int height = 0;
    std::string pixels; // RGB, row by row

    Rgb at(int x, int y) const {
        const auto i = (std::size_t(y) * std::size_t(width) + std::size_t(x)) * 3;
        return {static_cast<unsigned char>(pixels[i]), static_cast<unsigned char>(pixels[i + 1]),
                static_cast<unsigned char>(pixels[i + 2])};
    }
};

// A binary PPM (P6, 8 bits per channel); an empty screenshot when the file is not one.
inline Screenshot readPpm(const Path& file) {
    const std::string bytes = readText(file);
    std::istringstream in(bytes);
    std::string magic;
    int width = 0, height = 0, maximum = 0;
    in >> magic >> width >> height >> maximum;
    if (magic != "P6" || maximum != 255 || width <= 0 || height <= 0)
        return {};
    in.get(); // the one whitespace byte before the pixels
    const auto start = static_cast<std::size_t>(in.tellg());
    const auto size = std::size_t(width) * std::size_t(height) * 3;
    if (bytes.size() < start + size)
        return {};
    return {width, height, bytes.substr(start, size)};
}

// The whole screen as the X server holds it.
inline Screenshot screenshot(const XSession& x) {
    const Path file = x.scratch() / "screen.ppm";
    std::filesystem::remove(file);
    run({"import", "-silent", "-window", "root", "-depth", "8", "ppm:" + file.string()},
        x.environment());
    return readPpm(file);
}

inline void movePointer(const XSession& x, int px, int py) {
    run({"xdotool", "mousemove", std::to_string(px), std::to_string(py)}, x.environment());
}

// The primary screen's available area, as the window manager publishes it.
struct WorkArea {
    int x = 0, y = 0, width = 0, height = 0;
};

inline WorkArea workArea(const XSession& x) {
    const Outcome out = run({"xprop", "-root", "_NET_WORKAREA"}, x.environment());
    WorkArea area;
    const auto equals = out.out.find('=');
    if (equals != std::string::npos)
        std::sscanf(out.out.c_str() + equals + 1, " %d, %d, %d, %d", &area.x, &area.y, &area.width,
                    &area.height);
    return area;
}

} // namespace ostrelvan::test
