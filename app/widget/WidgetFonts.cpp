#include "app/widget/WidgetFonts.h"

#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>

namespace ostrelvan::WidgetFonts {

namespace {
QFont make(const char* family, QFont::Weight weight, int pixelSize) {
    QFont font(QString::fromLatin1(family));
    font.setStyleHint(QFont::SansSerif);
    font.setWeight(weight);
    font.setPixelSize(pixelSize);
    return font;
}

// Calls `run` for each stretch of digits or of other characters, in order.
template <class Run> void forEachRun(const QString& text, Run run) {
    qsizetype start = 0;
    while (start < text.size()) {
        const bool digits = text[start].isDigit();
        qsizetype end = start;
        while (end < text.size() && text[end].isDigit() == digits)
            ++end;
        run(QStringView(text).mid(start, end - start), digits);
        start = end;
    }
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

double digitCellWidth(const QFont& font) {
    const QFontMetricsF metrics(font);
    double widest = 0;
    for (char digit = '0'; digit <= '9'; ++digit)
        widest = std::max(widest, metrics.horizontalAdvance(QLatin1Char(digit)));
    return widest;
}

double tabularWidth(const QFont& font, const QString& text) {
    const QFontMetricsF metrics(font);
    const double cell = digitCellWidth(font);
    double width = 0;
    forEachRun(text, [&](QStringView run, bool digits) {
        width += digits ? cell * double(run.size()) : metrics.horizontalAdvance(run.toString());
    });
    return width;
}

void drawTabular(QPainter& painter, const QRectF& rect, int flags, const QString& text) {
    const QFont& font = painter.font();
    const QFontMetricsF metrics(font);
    const double cell = digitCellWidth(font);
    const double width = tabularWidth(font, text);

    double x = rect.left();
    if (flags & Qt::AlignRight)
        x = rect.right() - width;
    else if (flags & Qt::AlignHCenter)
        x = rect.center().x() - width / 2;
    double baseline = rect.top() + (rect.height() - metrics.height()) / 2 + metrics.ascent();
    if (flags & Qt::AlignTop)
        baseline = rect.top() + metrics.ascent();
    else if (flags & Qt::AlignBottom)
        baseline = rect.bottom() - metrics.descent();

    forEachRun(text, [&](QStringView run, bool digits) {
        if (!digits) {
            const QString part = run.toString();
            painter.drawText(QPointF(x, baseline), part);
            x += metrics.horizontalAdvance(part);
            return;
        }
        for (const QChar digit : run) {
            const double advance = metrics.horizontalAdvance(digit);
            painter.drawText(QPointF(x + (cell - advance) / 2, baseline), QString(digit));
            x += cell;
        }
    });
}

} // namespace ostrelvan::WidgetFonts
