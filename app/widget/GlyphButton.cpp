#include "app/widget/GlyphButton.h"

#include "app/widget/GlassColor.h"

#include <QPainter>

namespace ostrelvan {

namespace {
constexpr double glyphSide = 15;
constexpr double glyphWeight = 1.5;
} // namespace

GlyphButton::GlyphButton(Glyph glyph, double side, QWidget* parent)
    : QAbstractButton(parent), glyph_(glyph), side_(side) {
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(sizeHint());
}

void GlyphButton::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    update();
}

QSize GlyphButton::sizeHint() const {
    const int side = qRound(side_);
    return {side, side};
}

void GlyphButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor color = GlassColor::textPrimary(look_);
    if (isDown())
        color.setAlphaF(color.alphaF() * 0.5f);
    const QRectF frame = rect();
    const QRectF glyph(frame.center().x() - glyphSide / 2, frame.center().y() - glyphSide / 2,
                       glyphSide, glyphSide);
    Glyphs::paint(painter, glyph_, glyph, color, glyphWeight);
}

} // namespace ostrelvan
