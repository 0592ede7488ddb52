// The whole canvas, open, rendered offscreen and laid over a white and a black backdrop, as a
// window server without blur would show it: how much of the backdrop comes through the glass, and
// how well its text stands out, measured on the pixels.
#include "Legibility.h"
#include "WidgetViewHarness.h"
#include "app/widget/SessionPanelView.h"
#include "app/widget/SessionRow.h"
#include "app/widget/WidgetGlass.h"

#include <QPainter>

namespace ostrelvan::test {

namespace {

QImage over(const QImage& canvas, const QColor& backdrop) {
    QImage shot(canvas.size(), QImage::Format_RGB32);
    shot.fill(backdrop);
    QPainter painter(&shot);
    painter.drawImage(0, 0, canvas);
    return shot;
}

Pixel pixel(const QImage& image, int x, int y) {
    const QRgb c = image.pixel(x, y);
    return {qRed(c), qGreen(c), qBlue(c)};
}

struct Measured {
    double leastOpacity = 1;
    double meanOpacity = 0;
    double nameContrast = 100;
    double secondaryContrast = 100;
};

// The open canvas in `look`, measured: the glass over both backdrops, pixel for pixel inside the
// panel's and the column's shapes (a pixel in from their antialiased edges); the text of every row
// over each backdrop, the worse of the two.
Measured measure(const WidgetLook& look) {
    // oneTwoOne() holds every kind of line: a name alone, a name with its project, each status.
    ViewHarness h(oneTwoOne(), 600, look.dark);
    h.model.setExpanded(true);
    h.view->setLook(look);
    const QImage canvas = h.render();
    const QImage white = over(canvas, Qt::white);
    const QImage black = over(canvas, Qt::black);

    Measured m;
    const QRectF panel = QRectF(h.canvas(h.metrics().panelRect())).adjusted(1.5, 1.5, -1.5, -1.5);
    const QRectF column = QRectF(h.canvas(h.metrics().columnRect())).adjusted(1.5, 1.5, -1.5, -1.5);
    QPainterPath glass = WidgetGlass::roundedRect(panel, WidgetGlass::panelRadius - 1.5);
    glass.addPath(WidgetGlass::capsule(column));
    double total = 0;
    int count = 0;
    for (int y = 0; y < canvas.height(); ++y)
        for (int x = 0; x < canvas.width(); ++x) {
            if (!glass.contains(QPointF(x + 0.5, y + 0.5)))
                continue;
            const double o = opacity(pixel(white, x, y), pixel(black, x, y));
            m.leastOpacity = std::min(m.leastOpacity, o);
            total += o;
            ++count;
        }
    m.meanOpacity = total / std::max(1, count);

    for (const QImage* backdrop : {&white, &black}) {
        const auto at = [backdrop](int x, int y) { return pixel(*backdrop, x, y); };
        for (const SessionRow* row : h.view->panel()->rows()) {
            const QRect r(row->mapTo(h.view.get(), QPoint(0, 0)), row->size());
            // The name on the upper line, the status below it, the age at the right; the lamp
            // at the left and the host's glyph at the right edge are left out.
            const int textLeft = r.left() + 36;
            m.nameContrast = std::min(m.nameContrast, textContrast(at, textLeft, r.top() + 4,
                                                                   r.left() + 220, r.top() + 24));
            m.secondaryContrast =
                std::min(m.secondaryContrast,
                         textContrast(at, textLeft, r.top() + 29, r.left() + 220, r.bottom() - 4));
            m.secondaryContrast =
                std::min(m.secondaryContrast, textContrast(at, r.left() + 240, r.top() + 4,
                                                           r.left() + 291, r.bottom() - 4));
        }
    }
    return m;
}

QString describe(const Measured& m) {
    return QStringLiteral("opacity least %1 mean %2, contrast name %3 secondary %4")
        .arg(m.leastOpacity, 0, 'f', 3)
        .arg(m.meanOpacity, 0, 'f', 3)
        .arg(m.nameContrast, 0, 'f', 2)
        .arg(m.secondaryContrast, 0, 'f', 2);
}

} // namespace

class LegibleGlassTest : public QObject {
    Q_OBJECT
private slots:
    void withoutBlurTheGlassHidesWhatIsBehindAndTheTextReads() {
        for (const bool dark : {true, false})
            for (const double tint : {0.0, 0.25, 0.6}) {
                const Measured m = measure({.dark = dark, .blurBehind = false, .tint = tint});
                const QString what = QStringLiteral("%1, tint %2: %3")
                                         .arg(dark ? "dark" : "light")
                                         .arg(tint)
                                         .arg(describe(m));
                qInfo().noquote() << what;
                QVERIFY2(m.leastOpacity >= 0.85, qPrintable(what));
                QVERIFY2(m.nameContrast >= 4.5, qPrintable(what));
                QVERIFY2(m.secondaryContrast >= 3, qPrintable(what));
            }
        // Tint keeps its meaning: more tint, more solid glass.
        QVERIFY(measure({.blurBehind = false, .tint = 0.6}).meanOpacity >
                measure({.blurBehind = false, .tint = 0}).meanOpacity + 0.05);
    }

    void overABlurTheGlassStaysThin() {
        for (const bool dark : {true, false}) {
            const Measured m = measure({.dark = dark, .blurBehind = true, .tint = 0.25});
            const QString what = describe(m);
            qInfo().noquote() << (dark ? "frosted dark:" : "frosted light:") << what;
            // The tint and the sheen and nothing more: the blurred desktop shows through.
            QVERIFY2(m.meanOpacity > 0.22 && m.meanOpacity < 0.4, qPrintable(what));
            QVERIFY2(m.leastOpacity < 0.3, qPrintable(what));
        }
        // Opaque where there is no compositing at all.
        QVERIFY(measure({.opaqueGlass = true, .blurBehind = false}).leastOpacity > 0.99);
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::LegibleGlassTest)
#include "LegibleGlassTest.moc"
