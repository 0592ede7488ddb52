#include "app/widget/AnswerButton.h"

#include "app/widget/GlassColor.h"
#include "app/widget/Glyphs.h"

#include <QPainter>

namespace ostrelvan {

namespace {
constexpr double glyphSide = 14;
constexpr double glyphWeight = 1.8;
constexpr double quietFillOpacity = 0.12;
constexpr double hoverFillOpacity = 0.2;
constexpr double ringWidth = 1.5;
} // namespace

AnswerButton::AnswerButton(PermissionChoice choice, QWidget* parent)
    : QAbstractButton(parent), choice_(choice) {
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(sizeHint());
    setAccessibleName(title(choice));
    setToolTip(title(choice));
}

QString AnswerButton::title(PermissionChoice choice) {
    switch (choice) {
    case PermissionChoice::allow:
        return QStringLiteral("Allow");
    case PermissionChoice::allowAndAddRule:
        return QStringLiteral("Always Allow");
    case PermissionChoice::deny:
        break;
    }
    return QStringLiteral("Deny");
}

void AnswerButton::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    update();
}

QSize AnswerButton::sizeHint() const {
    const int whole = qRound(side);
    return {whole, whole};
}

void AnswerButton::enterEvent(QEnterEvent* event) {
    QAbstractButton::enterEvent(event);
    update();
}

void AnswerButton::leaveEvent(QEvent* event) {
    QAbstractButton::leaveEvent(event);
    update();
}

void AnswerButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF circle = QRectF(rect()).adjusted(1, 1, -1, -1);
    const double pressed = isDown() ? 0.6 : 1.0;
    const bool hovered = underMouse();
    QColor symbol;
    switch (choice_) {
    case PermissionChoice::allow:
        painter.setPen(Qt::NoPen);
        painter.setBrush(
            GlassColor::withOpacity(GlassColor::success(), pressed * (hovered ? 1.0 : 0.9)));
        painter.drawEllipse(circle);
        symbol = Qt::white;
        break;
    case PermissionChoice::allowAndAddRule:
        painter.setPen(QPen(GlassColor::withOpacity(GlassColor::success(), pressed), ringWidth));
        painter.setBrush(GlassColor::withOpacity(GlassColor::success(), hovered ? 0.2 : 0.08));
        painter.drawEllipse(
            circle.adjusted(ringWidth / 2, ringWidth / 2, -ringWidth / 2, -ringWidth / 2));
        symbol = GlassColor::withOpacity(GlassColor::success(), pressed);
        break;
    case PermissionChoice::deny:
        painter.setPen(Qt::NoPen);
        painter.setBrush(
            GlassColor::withOpacity(GlassColor::textPrimary(look_.dark),
                                    pressed * (hovered ? hoverFillOpacity : quietFillOpacity)));
        painter.drawEllipse(circle);
        symbol = GlassColor::withOpacity(GlassColor::textPrimary(look_.dark), pressed);
        break;
    }
    const QRectF glyph(circle.center().x() - glyphSide / 2, circle.center().y() - glyphSide / 2,
                       glyphSide, glyphSide);
    const Glyph shape = choice_ == PermissionChoice::deny    ? Glyph::xmark
                        : choice_ == PermissionChoice::allow ? Glyph::checkmark
                                                             : Glyph::checkmarkDouble;
    Glyphs::paint(painter, shape, glyph, symbol, glyphWeight);
}

} // namespace ostrelvan
