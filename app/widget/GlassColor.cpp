#include "GlassColor.h"

namespace ostrelvan::GlassColor {

QColor success() {
    return QColor(76, 214, 138);
}
QColor attention() {
    return QColor(255, 159, 67);
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

// Placeholder foregrounds until the glass look lands.
QColor textPrimary(bool dark) {
    return dark ? QColor(255, 255, 255, 242) : QColor(0, 0, 0, 217);
}
QColor textSecondary(bool dark) {
    return dark ? QColor(255, 255, 255, 140) : QColor(0, 0, 0, 128);
}
QColor textTertiary(bool dark) {
    return dark ? QColor(255, 255, 255, 64) : QColor(0, 0, 0, 66);
}

QLinearGradient rim(double top, double bottom, const QRectF& rect) {
    QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
    gradient.setColorAt(0, QColor::fromRgbF(1, 1, 1, static_cast<float>(top)));
    gradient.setColorAt(0.5, QColor::fromRgbF(1, 1, 1, static_cast<float>(bottom)));
    gradient.setColorAt(1,
                        QColor::fromRgbF(1, 1, 1, static_cast<float>(std::min(1.0, bottom * 1.6))));
    return gradient;
}

} // namespace ostrelvan::GlassColor
