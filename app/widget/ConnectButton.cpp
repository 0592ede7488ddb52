#include "app/widget/ConnectButton.h"

#include "app/widget/BrandColor.h"
#include "app/widget/GlassColor.h"
#include "app/widget/WidgetFonts.h"
#include "app/widget/WidgetGlass.h"

#include <QFontMetricsF>
#include <QPainter>

namespace ostrelvan {

namespace {
constexpr double horizontalPadding = 14;
constexpr double verticalPadding = 7;
constexpr double fillOpacity = 0.85;
constexpr double rimTop = 0.55;
constexpr double rimBottom = 0.15;
} // namespace

ConnectButton::ConnectButton(const QString& text, QWidget* parent) : QAbstractButton(parent) {
    setText(text);
    setFont(WidgetFonts::button());
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
    setCursor(Qt::PointingHandCursor);
    resize(sizeHint());
}

void ConnectButton::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    update();
}

QSize ConnectButton::sizeHint() const {
    const QFontMetricsF metrics(font());
    return QSizeF(metrics.horizontalAdvance(text()) + 2 * horizontalPadding,
                  metrics.height() + 2 * verticalPadding)
        .toSize();
}

void ConnectButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isDown())
        painter.setOpacity(0.7);
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const QPainterPath capsule = WidgetGlass::capsule(frame);
    QColor fill = BrandColor::tide();
    fill.setAlphaF(static_cast<float>(fillOpacity));
    painter.fillPath(capsule, fill);
    painter.setPen(QPen(QBrush(GlassColor::rim(rimTop, rimBottom, frame)), 1));
    painter.drawPath(capsule);
    painter.setPen(Qt::white);
    painter.setFont(font());
    painter.drawText(rect(), Qt::AlignCenter, text());
}

} // namespace ostrelvan
