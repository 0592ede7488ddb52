#include "WidgetFonts.h"

namespace ostrelvan::WidgetFonts {

namespace {
QFont make(const char* family, QFont::Weight weight, int pixelSize) {
    QFont font(QString::fromLatin1(family));
    font.setStyleHint(QFont::SansSerif);
    font.setWeight(weight);
    font.setPixelSize(pixelSize);
    return font;
}
} // namespace

QFont panelTitle() {
    return make("Manrope", QFont::DemiBold, 15);
}
QFont countBadge() {
    return make("Inter", QFont::DemiBold, 11);
}
QFont sessionName() {
    return make("Inter", QFont::Medium, 14);
}
QFont project() {
    return make("Inter", QFont::Normal, 12);
}
QFont statusLine() {
    return make("Inter", QFont::Normal, 12);
}
QFont elapsed() {
    return make("Inter", QFont::Normal, 13);
}
QFont emptyTitle() {
    return make("Inter", QFont::Medium, 14);
}
QFont emptyHint() {
    return make("Inter", QFont::Normal, 12);
}
QFont button() {
    return make("Inter", QFont::DemiBold, 13);
}

} // namespace ostrelvan::WidgetFonts
