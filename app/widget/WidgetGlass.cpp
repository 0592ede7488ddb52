#include "app/widget/WidgetGlass.h"

#include "app/services/AppSettings.h"
#include "app/widget/GlassColor.h"
#include "app/widgetmodel/WidgetMetrics.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <limits>

namespace ostrelvan::WidgetGlass {

QPainterPath capsule(const QRectF& rect) {
    QPainterPath path;
    const double r = std::min(rect.width(), rect.height()) / 2;
    path.addRoundedRect(rect, r, r);
    return path;
}

QPainterPath roundedRect(const QRectF& rect, double radius) {
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

namespace {
// The shape drawn `inset` points inside its own edge. Scaling about the centre stands in for an
// inset: the straight edges move by exactly that, the middles of the rounded corners by a little
// more (under a fifth of a point for half a point), which an antialiased 1-point line does not
// show.
QPainterPath insetBy(const QPainterPath& shape, double inset) {
    const QRectF box = shape.boundingRect();
    if (box.width() <= 2 * inset || box.height() <= 2 * inset)
        return shape;
    QTransform transform;
    transform.translate(box.center().x(), box.center().y());
    transform.scale((box.width() - 2 * inset) / box.width(),
                    (box.height() - 2 * inset) / box.height());
    transform.translate(-box.center().x(), -box.center().y());
    return transform.map(shape);
}
// So that a 1-point stroke of it lies just inside the outline.
QPainterPath insetByHalf(const QPainterPath& shape) {
    return insetBy(shape, 0.5);
}

// The faint dark line that keeps light glass apart from a white window.
const QColor lightOutline = QColor::fromRgbF(0, 0, 0, 0.18f);
} // namespace

void paint(QPainter& painter, const QPainterPath& shape, const WidgetLook& look) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    if (look.opaqueGlass) {
        // Without a compositor the window's shape is the glass, and a pixel on its edge shows
        // black in proportion to its transparency: no antialiasing, and a margin past the edge
        // so that every pixel the shape keeps is filled.
        painter.setRenderHint(QPainter::Antialiasing, false);
        const QColor fill = GlassColor::windowBackground(look.dark);
        painter.fillPath(shape, fill);
        painter.strokePath(shape, QPen(fill, 2));
        // Drawn over the opaque fill, an antialiased line stays opaque.
        if (!look.dark) {
            painter.setRenderHint(QPainter::Antialiasing);
            painter.strokePath(insetBy(shape, 1.5), QPen(lightOutline, 1));
        }
        painter.restore();
        return;
    }
    if (look.reduceTransparency) {
        painter.fillPath(shape, GlassColor::windowBackground(look.dark));
        painter.restore();
        return;
    }

    if (!look.blurBehind) {
        QColor fill = GlassColor::unblurredFill(look.dark);
        fill.setAlphaF(float(unblurredOpacity(look.tint)));
        painter.fillPath(shape, fill);
    } else if (const float tint = float(std::clamp(look.tint, 0.0, 1.0)); tint > 0) {
        painter.fillPath(shape, look.dark ? QColor::fromRgbF(0, 0, 0, tint)
                                          : QColor::fromRgbF(1, 1, 1, tint));
    }

    const QRectF box = shape.boundingRect();
    QLinearGradient sheen(box.left(), box.top(), box.left(), box.center().y());
    sheen.setColorAt(0, QColor::fromRgbF(1, 1, 1, 0.16f));
    sheen.setColorAt(1, QColor::fromRgbF(1, 1, 1, 0));
    painter.fillPath(shape, sheen);

    const double top = look.dark ? 0.6 : 0.9;
    const double bottom = 0.2;
    painter.strokePath(insetByHalf(shape), QPen(GlassColor::rim(top, bottom, box), 1));
    // A white rim is lost on light glass over a white window; without the blur's own edge the
    // shape then needs a faint dark line of its own, inside it like the rim, since nothing
    // outside the shape is repainted when it moves.
    if (!look.blurBehind && !look.dark)
        painter.strokePath(insetByHalf(shape), QPen(lightOutline, 1));
    painter.restore();
}

double unblurredOpacity(double tint) {
    const double strength =
        std::isfinite(tint) ? std::clamp(tint / AppSettings::maximumTint, 0.0, 1.0) : 0.0;
    return unblurredOpacityRange.first +
           strength * (unblurredOpacityRange.second - unblurredOpacityRange.first);
}

int blurRadius(double glassBlur, bool reduceTransparency) {
    if (reduceTransparency || !std::isfinite(glassBlur))
        return 0;
    const double limit = std::numeric_limits<int>::max();
    return int(std::clamp(roundHalfAwayFromZero(glassBlur), -limit, limit));
}

} // namespace ostrelvan::WidgetGlass
