#pragma once

namespace ostrelvan {

// A rectangle in the widget canvas's own space: origin at the bottom-left corner, y growing
// upwards, so "top" is the larger y. Drawing code turns it around once, with flipped().
struct LayoutRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double maxX() const { return x + width; }
    double minY() const { return y; }
    double maxY() const { return y + height; }
    double midY() const { return y + height / 2; }

    // Edges count as inside, as a point on a view's border belongs to that view.
    bool contains(double px, double py) const {
        return width >= 0 && height >= 0 && px >= minX() && px <= maxX() && py >= minY() &&
               py <= maxY();
    }
    LayoutRect grownBy(double d) const { return {x - d, y - d, width + 2 * d, height + 2 * d}; }
    LayoutRect united(const LayoutRect& o) const;
    // The same rectangle with y growing downwards from the top of a canvas `canvasHeight` high.
    LayoutRect flipped(double canvasHeight) const {
        return {x, canvasHeight - maxY(), width, height};
    }

    bool operator==(const LayoutRect&) const = default;
};

inline LayoutRect LayoutRect::united(const LayoutRect& o) const {
    const double left = x < o.x ? x : o.x;
    const double bottom = y < o.y ? y : o.y;
    const double right = maxX() > o.maxX() ? maxX() : o.maxX();
    const double top = maxY() > o.maxY() ? maxY() : o.maxY();
    return {left, bottom, right - left, top - bottom};
}

} // namespace ostrelvan
