#pragma once

// The screen of a private desktop as a user sees it: whole screenshots of the outer display taken
// from outside with ImageMagick's import, what changed between two of them, the pointer moved
// with xdotool, the work area the window manager gives.
#include "DesktopScene.h"

#include <algorithm>
#include <cstdio>

namespace ostrelvan::test {

struct Rgb {
    int r = 0, g = 0, b = 0;
};
inline std::ostream& operator<<(std::ostream& out, Rgb c) {
    return out << "(" << c.r << ", " << c.g << ", " << c.b << ")";
}

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

// The whole screen, as raw RGB from ImageMagick's import; empty when it could not be taken.
inline Screenshot screenshot(const XSession& x) {
    const Outcome out =
        run(words("import -silent -window root -depth 8 rgb:-"), x.outerEnvironment());
    if (out.out.size() != std::size_t(XSession::width) * XSession::height * 3)
        return {};
    return {XSession::width, XSession::height, out.out};
}

inline void movePointer(const XSession& x, int px, int py) {
    run({"xdotool", "mousemove", std::to_string(px), std::to_string(py)}, x.outerEnvironment());
}

inline void click(const XSession& x, int px, int py, int button = 1) {
    run({"xdotool", "mousemove", std::to_string(px), std::to_string(py), "click",
         std::to_string(button)},
        x.outerEnvironment());
}

struct ScreenRect {
    int x = 0, y = 0, width = 0, height = 0;
};

// The primary screen's available area, as the window manager publishes it; KWin alone reserves
// no panel, and on XWayland publishes no area at all.
inline ScreenRect workArea(const XSession& x) {
    if (x.shell() == Shell::kwinX11 || x.shell() == Shell::kwinWayland)
        return {0, 0, XSession::width, XSession::height};
    const Outcome out = run({"xprop", "-root", "_NET_WORKAREA"}, x.environment());
    ScreenRect area;
    const auto equals = out.out.find('=');
    if (equals != std::string::npos)
        std::sscanf(out.out.c_str() + equals + 1, " %d, %d, %d, %d", &area.x, &area.y, &area.width,
                    &area.height);
    return area;
}

// How many pixels of `area` (every second one each way) differ clearly between two pictures, and
// in `box` what bounds them; -1 when the pictures do not cover `area`.
inline int changedPixels(const Screenshot& a, const Screenshot& b, const ScreenRect& area,
                         ScreenRect* box = nullptr) {
    if (a.width != b.width || a.height != b.height || a.width < area.x + area.width ||
        a.height < area.y + area.height)
        return -1;
    int changed = 0, left = a.width, top = a.height, right = -1, bottom = -1;
    for (int y = area.y; y < area.y + area.height; y += 2)
        for (int x = area.x; x < area.x + area.width; x += 2)
            if (const Rgb p = a.at(x, y), q = b.at(x, y);
                std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b) > 40) {
                ++changed;
                left = std::min(left, x);
                top = std::min(top, y);
                right = std::max(right, x);
                bottom = std::max(bottom, y);
            }
    if (box)
        *box = {left, top, right - left + 1, bottom - top + 1};
    return changed;
}

// The screen once two pictures in a row are the same: nothing is moving on it.
inline Screenshot settledScreen(const XSession& x) {
    Screenshot settled;
    eventually(
        [&] {
            const Screenshot before = screenshot(x);
            settled = screenshot(x);
            return settled.width > 0 && settled.pixels == before.pixels;
        },
        std::chrono::seconds(20));
    return settled;
}

} // namespace ostrelvan::test
