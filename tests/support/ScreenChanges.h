#pragma once

// What changed between two screenshots of the same screen: how much of a rectangle, and where.
#include "ScreenPixels.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>

namespace ostrelvan::test {

struct ScreenRect {
    int x = 0, y = 0, width = 0, height = 0;

    bool contains(int px, int py) const {
        return px >= x && px < x + width && py >= y && py < y + height;
    }
};

// How many pixels of `area` (every second one each way) differ clearly between two pictures.
inline int changedPixels(const Screenshot& a, const Screenshot& b, const ScreenRect& area) {
    if (a.width != b.width || a.height != b.height || a.width < area.x + area.width ||
        a.height < area.y + area.height)
        return -1;
    int changed = 0;
    for (int y = area.y; y < area.y + area.height; y += 2)
        for (int x = area.x; x < area.x + area.width; x += 2) {
            const Rgb p = a.at(x, y), q = b.at(x, y);
            if (std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b) > 40)
                ++changed;
        }
    return changed;
}

// The bounding box of what differs between two pictures outside `ignored`.
inline std::optional<ScreenRect> changedBox(const Screenshot& a, const Screenshot& b,
                                            const ScreenRect& ignored) {
    if (a.width != b.width || a.height != b.height || a.width == 0)
        return std::nullopt;
    int left = a.width, top = a.height, right = -1, bottom = -1;
    for (int y = 0; y < a.height; y += 2)
        for (int x = 0; x < a.width; x += 2) {
            if (ignored.contains(x, y))
                continue;
            const Rgb p = a.at(x, y), q = b.at(x, y);
            if (std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b) <= 40)
                continue;
            left = std::min(left, x);
            top = std::min(top, y);
            right = std::max(right, x);
            bottom = std::max(bottom, y);
        }
    if (right < 0)
        return std::nullopt;
    return ScreenRect{left, top, right - left + 1, bottom - top + 1};
}

// Waits until `area` of the screen, as `shoot` takes it, differs clearly from `reference` (when
// `differs`) or matches it again. A match has to hold on two pictures in a row, so that a frame
// caught mid-repaint does not pass for the settled screen.
template <class Shoot>
bool eventuallyDiffers(const Screenshot& reference, const ScreenRect& area, bool differs,
                       Shoot shoot, std::chrono::milliseconds limit = std::chrono::seconds(15)) {
    int matches = 0;
    return eventually(
        [&] {
            const int changed = changedPixels(reference, shoot(), area);
            if (differs)
                return changed > 200;
            matches = changed >= 0 && changed < 20 ? matches + 1 : 0;
            return matches >= 2;
        },
        limit);
}

} // namespace ostrelvan::test
