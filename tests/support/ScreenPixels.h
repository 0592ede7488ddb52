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

    bool contains(int px, int py) const {
        return px >= x && px < x + width && py >= y && py < y + height;
    }
};
using WorkArea = ScreenRect;

// The primary screen's available area, as the window manager publishes it; KWin alone reserves
// no panel, and on XWayland publishes no area at all.
inline WorkArea workArea(const XSession& x) {
    if (x.shell() == Shell::kwinX11 || x.shell() == Shell::kwinWayland)
        return {0, 0, XSession::width, XSession::height};
    const Outcome out = run({"xprop", "-root", "_NET_WORKAREA"}, x.environment());
    WorkArea area;
    const auto equals = out.out.find('=');
    if (equals != std::string::npos)
        std::sscanf(out.out.c_str() + equals + 1, " %d, %d, %d, %d", &area.x, &area.y, &area.width,
                    &area.height);
    return area;
}

inline bool differ(Rgb p, Rgb q) {
    return std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b) > 40;
}

// How many pixels of `area` (every second one each way) differ clearly between two pictures.
inline int changedPixels(const Screenshot& a, const Screenshot& b, const ScreenRect& area) {
    if (a.width != b.width || a.height != b.height || a.width < area.x + area.width ||
        a.height < area.y + area.height)
        return -1;
    int changed = 0;
    for (int y = area.y; y < area.y + area.height; y += 2)
        for (int x = area.x; x < area.x + area.width; x += 2)
            changed += differ(a.at(x, y), b.at(x, y));
    return changed;
}

// The bounding box of what differs between two pictures outside `ignored`.
inline std::optional<ScreenRect> changedBox(const Screenshot& a, const Screenshot& b,
                                            const ScreenRect& ignored = {}) {
    if (a.width != b.width || a.height != b.height || a.width == 0)
        return std::nullopt;
    int left = a.width, top = a.height, right = -1, bottom = -1;
    for (int y = 0; y < a.height; y += 2)
        for (int x = 0; x < a.width; x += 2)
            if (!ignored.contains(x, y) && differ(a.at(x, y), b.at(x, y))) {
                left = std::min(left, x);
                top = std::min(top, y);
                right = std::max(right, x);
                bottom = std::max(bottom, y);
            }
    if (right < 0)
        return std::nullopt;
    return ScreenRect{left, top, right - left + 1, bottom - top + 1};
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

// Waits until `area` of the screen differs clearly from `reference` (when `differs`) or matches
// it again. A match has to hold on two pictures in a row, so that a frame caught mid-repaint does
// not pass for the settled screen.
inline bool eventuallyDiffers(const XSession& x, const Screenshot& reference,
                              const ScreenRect& area, bool differs,
                              std::chrono::milliseconds limit = std::chrono::seconds(15)) {
    int matches = 0;
    return eventually(
        [&] {
            const int changed = changedPixels(reference, screenshot(x), area);
            if (differs)
                return changed > 200;
            matches = changed >= 0 && changed < 20 ? matches + 1 : 0;
            return matches >= 2;
        },
        limit);
}

} // namespace ostrelvan::test
