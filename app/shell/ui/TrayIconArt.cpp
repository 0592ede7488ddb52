#include "TrayIconArt.h"

#include <QPainter>
#include <QPainterPath>

namespace ostrelvan::TrayIconArt {

namespace {

const QColor light{248, 248, 248};
const QColor dark{24, 24, 24, 220};

void drawGlyph(QPainter& painter, double size, const QColor& fill, const QColor* edge) {
    const QPointF centre(size / 2, size / 2);
    const double ringRadius = size * 0.36;
    const double ringWidth = size * 0.11;
    const double dotRadius = size * 0.15;
    const double edgeWidth = std::max(1.0, size / 16);
    painter.setBrush(Qt::NoBrush);
    if (edge) {
        painter.setPen(QPen(*edge, ringWidth + 2 * edgeWidth));
        painter.drawEllipse(centre, ringRadius, ringRadius);
        painter.setPen(Qt::NoPen);
        painter.setBrush(*edge);
        painter.drawEllipse(centre, dotRadius + edgeWidth, dotRadius + edgeWidth);
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(fill, ringWidth));
    painter.drawEllipse(centre, ringRadius, ringRadius);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawEllipse(centre, dotRadius, dotRadius);
}

void drawAttentionDot(QPainter& painter, double size) {
    const double radius = size * 0.2;
    const double edgeWidth = std::max(1.0, size / 16);
    const QPointF centre(size - radius - edgeWidth, radius + edgeWidth);
    painter.setPen(Qt::NoPen);
    painter.setBrush(dark);
    painter.drawEllipse(centre, radius + edgeWidth, radius + edgeWidth);
    painter.setBrush(attention);
    painter.drawEllipse(centre, radius, radius);
}

} // namespace

QImage image(int size, bool needsAttention, Style style) {
    QImage result(size, size, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    if (style == Style::templateImage && !needsAttention) {
        drawGlyph(painter, size, Qt::black, nullptr);
    } else {
        drawGlyph(painter, size, light, &dark);
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
