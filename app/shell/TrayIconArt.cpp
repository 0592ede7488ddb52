#include "app/shell/TrayIconArt.h"

#include "app/widget/BrandColor.h"

#include <QPainter>
#include <QPainterPath>

namespace ostrelvan::TrayIconArt {

namespace {

// A disk in the brand colour stands out on light and dark panels alike, and the white glyph on it
// keeps its contrast whatever is behind.
const QColor glyph{250, 250, 250};

void drawGlyph(QPainter& painter, double size, const QColor& colour) {
    const QPointF centre(size / 2, size / 2);
    const double ringRadius = size * 0.3;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(colour, size * 0.09));
    painter.drawEllipse(centre, ringRadius, ringRadius);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawEllipse(centre, size * 0.12, size * 0.12);
}

void drawDisk(QPainter& painter, double size) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(BrandColor::tide());
    painter.drawEllipse(QPointF(size / 2, size / 2), size * 0.48, size * 0.48);
}

void drawAttentionDot(QPainter& painter, double size) {
    const double radius = size * 0.2;
    const double edge = std::max(1.0, size / 16);
    const QPointF centre(size - radius - edge, radius + edge);
    painter.setPen(Qt::NoPen);
    painter.setBrush(glyph);
    painter.drawEllipse(centre, radius + edge, radius + edge);
    painter.setBrush(BrandColor::attention());
    painter.drawEllipse(centre, radius, radius);
}

} // namespace

QImage image(int size, bool needsAttention, Style style) {
    QImage result(size, size, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    if (style == Style::templateImage && !needsAttention) {
        drawGlyph(painter, size, Qt::black);
    } else {
        drawDisk(painter, size);
        drawGlyph(painter, size, glyph);
    }
    if (needsAttention) {
        drawAttentionDot(painter, size);
    }
    return result;
}

QIcon icon(bool needsAttention, Style style) {
    QIcon result;
    for (int size : {16, 18, 22, 24, 32, 36, 44, 48, 64}) {
        result.addPixmap(QPixmap::fromImage(image(size, needsAttention, style)));
    }
    result.setIsMask(style == Style::templateImage && !needsAttention);
    return result;
}

} // namespace ostrelvan::TrayIconArt
