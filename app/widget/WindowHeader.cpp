#include "app/widget/WindowHeader.h"

#include "app/widget/GlassColor.h"
#include "app/widget/Glyphs.h"
#include "app/widget/TextHalo.h"
#include "app/widget/WidgetFonts.h"

#include <QFontMetricsF>
#include <QPainter>

namespace ostrelvan {

namespace {
constexpr double horizontalPadding = 10;
constexpr double topPadding = 6;
constexpr double spacing = 6;
constexpr double glyphSide = 12;
constexpr double glyphWeight = 1.2;
} // namespace

WindowHeader::WindowHeader(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
}

void WindowHeader::setGroup(const QString& name, int count) {
    if (name == name_ && count == count_)
        return;
    name_ = name;
    count_ = count;
    setAccessibleName(QStringLiteral("%1 window, %2 tabs").arg(name).arg(count));
    setToolTip(name);
    update();
}

void WindowHeader::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    update();
}

QString WindowHeader::countText() const {
    return QStringLiteral("%1 tabs").arg(count_);
}

double WindowHeader::nameWidth() const {
    const QFontMetricsF metrics(WidgetFonts::project());
    const double left = horizontalPadding + glyphSide + spacing;
    const double room =
        width() - horizontalPadding - left - spacing - metrics.horizontalAdvance(countText());
    return std::max(0.0, room);
}

QString WindowHeader::shownName() const {
    return QFontMetricsF(WidgetFonts::project()).elidedText(name_, Qt::ElideMiddle, nameWidth());
}

void WindowHeader::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QFont font = WidgetFonts::project();
    const QFontMetricsF metrics(font);
    const QColor color = GlassColor::textSecondary(look_);
    const double lineHeight = metrics.height();

    const QRectF glyph(horizontalPadding, topPadding + (lineHeight - glyphSide) / 2, glyphSide,
                       glyphSide);
    Glyphs::paint(painter, Glyph::window, glyph, color, glyphWeight);

    painter.setFont(font);
    const QString name = shownName();
    const double nameLeft = glyph.right() + spacing;
    const double nameAdvance = metrics.horizontalAdvance(name);
    TextHalo::drawText(painter, QRectF(nameLeft, topPadding, nameAdvance + 2, lineHeight),
                       Qt::AlignLeft | Qt::AlignTop, name, color, look_);
    const QString count = countText();
    const double countLeft = nameLeft + nameAdvance + (name.isEmpty() ? 0 : spacing);
    TextHalo::drawText(
        painter, QRectF(countLeft, topPadding, std::max(0.0, width() - countLeft), lineHeight),
        Qt::AlignLeft | Qt::AlignTop, count, color, look_);
}

} // namespace ostrelvan
