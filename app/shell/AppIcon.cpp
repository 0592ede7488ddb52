#include "app/shell/AppIcon.h"

#include "app/widget/BrandColor.h"

#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>

namespace ostrelvan::AppIcon {

QImage image(int size) {
    QImage result(size, size, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    // The SVG's 128-unit canvas.
    painter.scale(size / 128.0, size / 128.0);

    // A lighter and a darker shade of the brand's tide, lit from above.
    QLinearGradient tide(0, 8, 0, 120);
    tide.setColorAt(0, QColor(0x3a, 0xa8, 0x9f));
    tide.setColorAt(1, QColor(0x1f, 0x61, 0x5c));
    painter.setPen(Qt::NoPen);
    painter.setBrush(tide);
    painter.drawRoundedRect(QRectF(8, 8, 112, 112), 26, 26);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(255, 255, 255, 64), 1));
    painter.drawRoundedRect(QRectF(8.5, 8.5, 111, 111), 25.5, 25.5);

    painter.setPen(QPen(QColor(0xf8, 0xf8, 0xf8), 10));
    painter.drawEllipse(QPointF(64, 64), 35, 35);

    QRadialGradient lamp(QPointF(48 + 32 * 0.4, 48 + 32 * 0.35), 32 * 0.75);
    lamp.setColorAt(0, QColor(0xff, 0xe0, 0xbd));
    lamp.setColorAt(0.5, BrandColor::attention());
    lamp.setColorAt(1, QColor(0xd0, 0x69, 0x1a));
    painter.setPen(Qt::NoPen);
    painter.setBrush(lamp);
    painter.drawEllipse(QPointF(64, 64), 16, 16);
    return result;
}

QIcon icon() {
    QIcon result;
    for (int size : {16, 24, 32, 48, 64, 128})
        result.addPixmap(QPixmap::fromImage(image(size)));
    return result;
}

void applyToApplication() {
    QGuiApplication::setWindowIcon(icon());
    QGuiApplication::setDesktopFileName(QString::fromLatin1(desktopEntry));
}

} // namespace ostrelvan::AppIcon
