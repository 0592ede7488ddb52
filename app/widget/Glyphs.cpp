#include "app/widget/Glyphs.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <numbers>

namespace ostrelvan::Glyphs {

namespace {

// Each glyph is drawn in a unit square: (0, 0) top left, (1, 1) bottom right.
using Point = QPointF;

QPainterPath polyline(std::initializer_list<Point> points) {
    QPainterPath path;
    bool first = true;
    for (const Point& p : points) {
        if (first)
            path.moveTo(p);
        else
            path.lineTo(p);
        first = false;
    }
    return path;
}

QPainterPath roundedBox(double left, double top, double right, double bottom, double radius) {
    QPainterPath path;
    path.addRoundedRect(QRectF(QPointF(left, top), QPointF(right, bottom)), radius, radius);
    return path;
}

// Eight trapezoid teeth on a ring, with the hub as a separate circle.
QPainterPath gear() {
    constexpr int teeth = 8;
    constexpr double tip = 0.47;
    constexpr double root = 0.36;
    constexpr double tipHalf = 0.16;  // radians either side of a tooth's middle, at the tip
    constexpr double baseHalf = 0.25; // and at its root
    constexpr double step = 2 * std::numbers::pi / teeth;
    const auto at = [](double radius, double angle) {
        return Point(0.5 + radius * std::cos(angle), 0.5 + radius * std::sin(angle));
    };
    QPainterPath path;
    for (int i = 0; i < teeth; ++i) {
        const double middle = -std::numbers::pi / 2 + i * step;
        const Point baseStart = at(root, middle - baseHalf);
        if (i == 0)
            path.moveTo(baseStart);
        else
            path.lineTo(baseStart);
        path.lineTo(at(tip, middle - tipHalf));
        path.lineTo(at(tip, middle + tipHalf));
        path.lineTo(at(root, middle + baseHalf));
        // The root between this tooth and the next, as a few points of its arc.
        constexpr int arcPoints = 4;
        for (int k = 1; k < arcPoints; ++k) {
            const double a = middle + baseHalf + (step - 2 * baseHalf) * k / arcPoints;
            path.lineTo(at(root, a));
        }
    }
    path.closeSubpath();
    path.addEllipse(Point(0.5, 0.5), 0.15, 0.15);
    return path;
}

QPainterPath shape(Glyph glyph) {
    switch (glyph) {
    case Glyph::gear:
        return gear();
    case Glyph::chevronDown:
        return polyline({{0.2, 0.36}, {0.5, 0.66}, {0.8, 0.36}});
    case Glyph::chevronCompactUp:
        return polyline({{0.1, 0.6}, {0.5, 0.4}, {0.9, 0.6}});
    case Glyph::chevronCompactDown:
        return polyline({{0.1, 0.4}, {0.5, 0.6}, {0.9, 0.4}});
    case Glyph::terminal: {
        QPainterPath path = roundedBox(0.05, 0.15, 0.95, 0.85, 0.16);
        path.addPath(polyline({{0.25, 0.36}, {0.39, 0.48}, {0.25, 0.6}}));
        path.addPath(polyline({{0.47, 0.63}, {0.68, 0.63}}));
        return path;
    }
    case Glyph::code: {
        QPainterPath path = polyline({{0.3, 0.24}, {0.06, 0.5}, {0.3, 0.76}});
        path.addPath(polyline({{0.7, 0.24}, {0.94, 0.5}, {0.7, 0.76}}));
        path.addPath(polyline({{0.58, 0.16}, {0.42, 0.84}}));
        return path;
    }
    case Glyph::window: {
        QPainterPath path = roundedBox(0.06, 0.14, 0.94, 0.86, 0.15);
        path.addPath(polyline({{0.06, 0.36}, {0.94, 0.36}}));
        return path;
    }
    case Glyph::checkmark:
        return polyline({{0.16, 0.52}, {0.4, 0.76}, {0.84, 0.26}});
    case Glyph::checkmarkDouble: {
        QPainterPath path = polyline({{0.04, 0.54}, {0.26, 0.76}, {0.62, 0.3}});
        path.addPath(polyline({{0.46, 0.7}, {0.52, 0.76}, {0.96, 0.26}}));
        return path;
    }
    case Glyph::xmark: {
        QPainterPath path = polyline({{0.22, 0.22}, {0.78, 0.78}});
        path.addPath(polyline({{0.78, 0.22}, {0.22, 0.78}}));
        return path;
    }
    }
    return {};
}

} // namespace

void paint(QPainter& painter, Glyph glyph, const QRectF& rect, const QColor& color, double weight) {
    // A whole-pixel square keeps the strokes where the raster puts them the same at every place.
    const double side = std::floor(std::min(rect.width(), rect.height()));
    if (side <= 0)
        return;
    const QPointF origin(std::round(rect.center().x() - side / 2),
                         std::round(rect.center().y() - side / 2));
    QTransform toRect;
    toRect.translate(origin.x(), origin.y());
    toRect.scale(side, side);
    const QPainterPath path = toRect.map(shape(glyph));

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color, weight, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(path);
    painter.restore();
}

} // namespace ostrelvan::Glyphs
