#include "app/widget/GlassColor.h"

#include "app/widget/BrandColor.h"

#include <algorithm>

namespace ostrelvan::GlassColor {

QColor success() {
    return QColor(76, 214, 138);
}
QColor attention() {
    return BrandColor::attention();
}
QColor attentionText(bool dark) {
    return dark ? QColor::fromRgbF(1.0f, 0.62f, 0.26f) : QColor::fromRgbF(0.68f, 0.29f, 0.0f);
}
QColor idleLamp() {
    return QColor(154, 163, 173);
}
QColor vscode() {
    return QColor(59, 160, 240);
}

// A little stronger than the desktop's own label levels (0.85, 0.55 and 0.25), because here they
// sit on a plain blur without the vibrancy that lifts them on macOS materials.
QColor textPrimary(bool dark) {
    return dark ? QColor::fromRgbF(1, 1, 1, 0.9f) : QColor::fromRgbF(0, 0, 0, 0.85f);
}
QColor textSecondary(bool dark) {
    return dark ? QColor::fromRgbF(1, 1, 1, 0.62f) : QColor::fromRgbF(0, 0, 0, 0.56f);
}
QColor textTertiary(bool dark) {
    return dark ? QColor::fromRgbF(1, 1, 1, 0.4f) : QColor::fromRgbF(0, 0, 0, 0.36f);
}

namespace {
// A level for glass that is not frosted.
QColor solid(bool dark, float opacity) {
    return dark ? QColor::fromRgbF(1, 1, 1, opacity) : QColor::fromRgbF(0, 0, 0, opacity);
}
} // namespace

QColor textPrimary(const WidgetLook& look) {
    return look.frosted() ? textPrimary(look.dark) : solid(look.dark, 0.92f);
}
QColor textSecondary(const WidgetLook& look) {
    return look.frosted() ? textSecondary(look.dark) : solid(look.dark, 0.7f);
}
QColor textTertiary(const WidgetLook& look) {
    return look.frosted() ? textTertiary(look.dark) : solid(look.dark, 0.56f);
}

QColor windowBackground(bool dark) {
    return dark ? QColor(50, 50, 50) : QColor(236, 236, 236);
}

QColor unblurredFill(bool dark) {
    return dark ? QColor(34, 34, 38) : QColor(244, 244, 246);
}

QLinearGradient rim(double top, double bottom, const QRectF& rect) {
    QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
    gradient.setColorAt(0, QColor::fromRgbF(1, 1, 1, static_cast<float>(top)));
    gradient.setColorAt(0.5, QColor::fromRgbF(1, 1, 1, static_cast<float>(bottom)));
    gradient.setColorAt(1,
                        QColor::fromRgbF(1, 1, 1, static_cast<float>(std::min(1.0, bottom * 1.6))));
    return gradient;
}

QColor withOpacity(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(color.alphaF() * opacity));
    return color;
}

} // namespace ostrelvan::GlassColor
