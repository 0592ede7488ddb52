#include "Legibility.h"
#include "WidgetViewHarness.h"
#include "app/look/DesktopPreferences.h"
#include "app/services/AppSettings.h"
#include "app/store/MemoryKeyValueStore.h"
#include "app/widget/GlassColor.h"
#include "app/widget/Glyphs.h"
#include "app/widget/SessionPanelView.h"
#include "app/widget/SessionRow.h"
#include "app/widget/TextHalo.h"
#include "app/widget/WidgetFonts.h"
#include "app/widget/WidgetGlass.h"

#include <QImage>
#include <QPainter>
#include <QTest>
#include <cmath>

namespace ostrelvan::test {

using namespace Qt::StringLiterals;

namespace {

// A transparent w × h canvas with `paint` drawn on it.
template <typename Paint> QImage drawn(int w, int h, Paint paint) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paint(painter);
    painter.end();
    return image.convertToFormat(QImage::Format_ARGB32);
}

// How many pixels of `image` pass `test(x, y, colour)`.
template <typename Test> int countPixels(const QImage& image, Test test) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += test(x, y, image.pixelColor(x, y)) ? 1 : 0;
    return count;
}

// The bounds of the drawn pixels.
QRect inkBounds(const QImage& image) {
    QRect bounds;
    countPixels(image, [&](int x, int y, QColor c) {
        bounds |= c.alpha() > 0 ? QRect(x, y, 1, 1) : QRect();
        return false;
    });
    return bounds;
}

QImage glass(const WidgetLook& look) {
    return drawn(120, 80, [&](QPainter& p) {
        WidgetGlass::paint(p, WidgetGlass::roundedRect(QRectF(0, 0, 120, 80), 18), look);
    });
}

WidgetLook look(bool dark, double tint) {
    return {.dark = dark, .tint = tint};
}

QImage text(const WidgetLook& l) {
    return drawn(120, 30, [&](QPainter& p) {
        p.setFont(WidgetFonts::sessionName());
        TextHalo::drawText(p, QRectF(10, 5, 100, 20), Qt::AlignLeft | Qt::AlignVCenter,
                           u"Refactor"_s, GlassColor::textPrimary(l.dark), l);
    });
}

// The whole canvas, open, laid over a white and a black backdrop, as a window server without
// blur would show it: how much of the backdrop comes through the glass, and how well its text
// stands out, measured on the pixels.
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

class GlassTest : public QObject {
    Q_OBJECT
private slots:
    void tintSheenAndRim() {
        // Full tint: opaque below the sheen, which fades out by the middle.
        const QImage dark = glass(look(true, 1));
        QCOMPARE(dark.pixelColor(60, 60), QColor(0, 0, 0));
        QCOMPARE(glass(look(false, 1)).pixelColor(60, 60), QColor(255, 255, 255));
        // No tint: nothing but sheen and rim.
        const QImage clear = glass(look(true, 0));
        const QImage light = glass(look(false, 0));
        QCOMPARE(clear.pixelColor(60, 60).alpha(), 0);
        // The sheen: white at 0.16 along the top, fading towards the middle.
        const QColor high = clear.pixelColor(60, 4);
        QCOMPARE(QColor(high.rgb()), QColor(Qt::white));
        QVERIFY(clear.pixelColor(60, 25).alpha() < high.alpha());
        // Outside the rounded corner nothing is drawn.
        QCOMPARE(clear.pixelColor(0, 0).alpha(), 0);

        // The rim, brighter at the top than at the bottom, which is still lighter than the tint.
        const int top = dark.pixelColor(60, 0).red(), bottom = dark.pixelColor(60, 79).red();
        QVERIFY2(top > bottom + 40 && bottom > 40,
                 qPrintable(QStringLiteral("%1 %2").arg(top).arg(bottom)));
        // Light: white 0.9 at the top over a clear fill.
        QVERIFY(light.pixelColor(60, 0).alpha() > 225);
    }

    void opaqueWhenTransparencyIsReducedOrCannotShow() {
        for (const bool dark : {true, false}) {
            const WidgetLook reduced{.dark = dark, .reduceTransparency = true, .tint = 0};
            const WidgetLook uncomposited{.dark = dark, .opaqueGlass = true, .tint = 0.25};
            for (const WidgetLook& l : {reduced, uncomposited}) {
                const QImage image = glass(l);
                QCOMPARE(image.pixelColor(60, 40), GlassColor::windowBackground(dark));
                for (const QPoint p : {QPoint(60, 1), QPoint(1, 40)}) {
                    const QColor edge = image.pixelColor(p);
                    QCOMPARE(edge.alpha(), 255);
                    // Light glass with no compositor keeps a faint outline, inside its shape.
                    if (l.opaqueGlass && !dark)
                        QVERIFY2(edge.red() < 225, qPrintable(edge.name()));
                    else
                        QCOMPARE(edge, GlassColor::windowBackground(dark));
                }
            }
            // Without a compositor no pixel of the glass is partly transparent: at its edge it
            // would show black.
            QCOMPARE(countPixels(glass(uncomposited),
                                 [](int, int, QColor c) { return c.alpha() % 255 != 0; }),
                     0);
        }
    }

    void haloSurroundsTextOnlyWhenAskedFor() {
        const WidgetLook on = look(true, 0.25);
        WidgetLook off = on;
        off.textContrast = false;
        const QImage plain = text(off);
        const QImage haloed = text(on);
        const auto inked = [](int, int, QColor c) { return c.alpha() > 0; };
        QVERIFY(countPixels(haloed, inked) > countPixels(plain, inked) * 3 / 2);
        // Without the halo every drawn pixel is the text's white; with it the glyphs sit in a
        // dark blur that reaches past the ink.
        QCOMPARE(countPixels(plain, [](int, int, QColor c) { return c.alpha() && c.red() <= 200; }),
                 0);
        QVERIFY(countPixels(haloed, [&](int x, int y, QColor c) {
                    return plain.pixelColor(x, y).alpha() == 0 && c.alpha() > 20 && c.red() < 40;
                }) > 100);
        // On light glass the halo is white around dark text.
        const QColor beside = text(look(false, 0.25)).pixelColor(9, 15);
        QVERIFY(beside.alpha() == 0 || beside.red() > 200);
        // Drawn again, it comes from the cache and looks the same.
        QCOMPARE(text(on), haloed);
    }

    void glyphsDrawInsideTheirBoxAtSmallSizes() {
        const auto glyphImage = [](Glyph glyph, int side, int margin) {
            return drawn(side + 2 * margin, side + 2 * margin, [&](QPainter& p) {
                Glyphs::paint(p, glyph, QRectF(margin, margin, side, side), Qt::white, 1.5);
            });
        };
        for (const Glyph glyph :
             {Glyph::gear, Glyph::chevronDown, Glyph::chevronCompactUp, Glyph::chevronCompactDown,
              Glyph::terminal, Glyph::code, Glyph::window}) {
            for (const int side : {9, 14}) {
                const QImage image = glyphImage(glyph, side, 4);
                // The stroke may spill its half width over the box.
                QVERIFY2(QRect(3, 3, side + 2, side + 2).contains(inkBounds(image)) &&
                             countPixels(image, [](int, int, QColor c) { return c.alpha(); }) >
                                 side,
                         qPrintable(QString::number(int(glyph))));
            }
        }
        // The chevrons point the way they say: the tip's row is inked, the middle of the open end
        // is not.
        const QImage up = glyphImage(Glyph::chevronCompactUp, 14, 0);
        const QImage down = glyphImage(Glyph::chevronCompactDown, 14, 0);
        QVERIFY(qAlpha(up.pixel(7, 5)) > qAlpha(up.pixel(7, 8)));
        QVERIFY(qAlpha(down.pixel(7, 8)) > qAlpha(down.pixel(7, 5)));
    }

    void fontsAndTabularDigits() {
        QCOMPARE(WidgetFonts::tabularWidth(WidgetFonts::countBadge(), u"11"_s),
                 WidgetFonts::tabularWidth(WidgetFonts::countBadge(), u"80"_s));
        // Right-aligned digits end at the same place whatever they are.
        const auto rightEdge = [](const QString& digits) {
            const auto paint = [&](QPainter& p) {
                p.setFont(WidgetFonts::elapsed());
                p.setPen(Qt::white);
                WidgetFonts::drawTabular(p, QRectF(0, 0, 50, 20), Qt::AlignRight, digits);
            };
            return inkBounds(drawn(60, 20, paint)).right();
        };
        QVERIFY(std::abs(rightEdge(u"10"_s) - rightEdge(u"18"_s)) <= 1);
        QVERIFY(rightEdge(u"1"_s) <= 50);
    }

    void blurRadiusRoundsHalvesAwayFromZero() {
        QCOMPARE(WidgetGlass::blurRadius(12.5, false), 13);
        QCOMPARE(WidgetGlass::blurRadius(12.49, false), 12);
        QCOMPARE(WidgetGlass::blurRadius(12.5, true), 0);
    }

    void lookFollowsDesktopUnlessTheUserChose() {
        DesktopPreferences desktop;
        desktop.dark = true;
        desktop.reduceMotion = true;
        MemoryKeyValueStore defaults;
        AppSettings settings(defaults);
        settings.setGlassTint(0.4);
        settings.setTextContrast(false);
        const WindowServerGlass blurring{true, true};
        WidgetLook l = widgetLook(desktop, settings, blurring);
        QVERIFY(l.dark && l.reduceMotion && !l.reduceTransparency && !l.opaqueGlass);
        QVERIFY(l.blurBehind && l.frosted());
        QCOMPARE(l.tint, 0.4);
        QVERIFY(!l.textContrast);
        settings.setGlassAppearance(GlassAppearance::light);
        QVERIFY(!widgetLook(desktop, settings, blurring).dark);

        // Blur is applied only where the server offers it and the user wants some.
        QVERIFY(!widgetLook(desktop, settings, {true, false}).blurBehind);
        settings.setGlassBlur(0.4);
        QVERIFY(!widgetLook(desktop, settings, blurring).blurBehind);
        settings.setGlassBlur(8);
        QVERIFY(!widgetLook(desktop, settings, {false, true}).blurBehind);

        desktop.dark = false;
        desktop.reduceTransparency = true;
        settings.setGlassAppearance(GlassAppearance::dark);
        l = widgetLook(desktop, settings, {false, false});
        QVERIFY(l.dark && l.reduceTransparency && l.opaqueGlass && !l.frosted());
        QVERIFY(!widgetLook(desktop, settings, blurring).blurBehind);
    }

    void withoutBlurTintMapsOntoNearlyOpaqueGlass() {
        // The glass's measured opacity is in withoutBlurTheGlassHidesWhatIsBehindAndTheTextReads.
        // A tint that is no number is no tint.
        QCOMPARE(WidgetGlass::unblurredOpacity(std::nan("")), WidgetGlass::unblurredOpacity(0));
        for (const bool dark : {true, false}) {
            const WidgetLook l{.dark = dark, .blurBehind = false, .tint = 0.25};
            // The text levels grow stronger on it; on frosted glass they stay as designed.
            QVERIFY(GlassColor::textTertiary(l).alphaF() > GlassColor::textTertiary(dark).alphaF());
            QCOMPARE(GlassColor::textTertiary(look(dark, 0.25)), GlassColor::textTertiary(dark));
        }
        // Light glass without blur has a dark outline, so that it stands out from a white window.
        const QColor edge =
            glass({.dark = false, .blurBehind = false, .tint = 0.25}).pixelColor(60, 79);
        QVERIFY2(edge.alpha() > 200 && edge.red() < 235, qPrintable(edge.name(QColor::HexArgb)));
        QVERIFY(glass(look(false, 0.25)).pixelColor(60, 79).red() == 255);
    }
    void withoutBlurTheGlassHidesWhatIsBehindAndTheTextReads() {
        for (const bool dark : {true, false})
            for (const double tint : {0.0, 0.25, 0.6}) {
                const Measured m = measure({.dark = dark, .blurBehind = false, .tint = tint});
                const QString what = QStringLiteral("%1, tint %2: %3")
                                         .arg(dark ? "dark" : "light")
                                         .arg(tint)
                                         .arg(describe(m));
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
            // The tint and the sheen and nothing more: the blurred desktop shows through.
            QVERIFY2(m.meanOpacity > 0.22 && m.meanOpacity < 0.4, qPrintable(what));
            QVERIFY2(m.leastOpacity < 0.3, qPrintable(what));
        }
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::GlassTest)
#include "GlassTest.moc"
