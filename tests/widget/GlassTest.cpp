#include "app/look/DesktopPreferences.h"
#include "app/services/AppSettings.h"
#include "app/store/MemoryKeyValueStore.h"
#include "app/widget/GlassColor.h"
#include "app/widget/Glyphs.h"
#include "app/widget/TextHalo.h"
#include "app/widget/WidgetFonts.h"
#include "app/widget/WidgetGlass.h"

#include <QFontInfo>
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
        QCOMPARE(light.pixelColor(60, 60).alpha(), 0);
        // The sheen: white at 0.16 along the top, fading towards the middle.
        const QColor high = clear.pixelColor(60, 4);
        QCOMPARE(QColor(high.rgb()), QColor(Qt::white));
        QVERIFY2(high.alpha() > 28 && high.alpha() < 41, qPrintable(QString::number(high.alpha())));
        QVERIFY(clear.pixelColor(60, 25).alpha() < high.alpha());
        // Outside the rounded corner nothing is drawn.
        QCOMPARE(clear.pixelColor(0, 0).alpha(), 0);

        // The rim, brighter at the top: on dark glass its 0.6 white over black and the sheen's
        // 0.16 at the top edge, white at 0.2 at its middle stop halfway down the side.
        const QColor top = dark.pixelColor(60, 0);
        QVERIFY2(top.red() > 140 && top.red() < 175, qPrintable(QString::number(top.red())));
        const QColor bottom = dark.pixelColor(60, 79);
        QVERIFY2(bottom.red() > 70 && bottom.red() < 90, qPrintable(QString::number(bottom.red())));
        QVERIFY(std::abs(dark.pixelColor(0, 40).red() - 51) <= 4);
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
                QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
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
        // The chevrons point the way they say.
        const QImage up = glyphImage(Glyph::chevronCompactUp, 14, 0);
        const QImage down = glyphImage(Glyph::chevronCompactDown, 14, 0);
        const QImage flipped = up.mirrored(false, true);
        for (int y = 0; y < 14; ++y)
            for (int x = 0; x < 14; ++x)
                QVERIFY(std::abs(qAlpha(flipped.pixel(x, y)) - qAlpha(down.pixel(x, y))) < 40);
        QVERIFY(qAlpha(up.pixel(7, 5)) > qAlpha(up.pixel(7, 8)));
    }

    void fontsAndTabularDigits() {
        if (QFontInfo(WidgetFonts::panelTitle()).family() == u"Manrope"_s)
            QCOMPARE(QFontInfo(WidgetFonts::countBadge()).family(), u"Inter"_s);
        else
            qWarning("Manrope is not installed: the fonts fall back");
        for (const QFont& font : {WidgetFonts::countBadge(), WidgetFonts::elapsed()}) {
            QCOMPARE(WidgetFonts::tabularWidth(font, u"11"_s),
                     WidgetFonts::tabularWidth(font, u"80"_s));
            QCOMPARE(WidgetFonts::tabularWidth(font, u"1h 05m"_s),
                     WidgetFonts::tabularWidth(font, u"8h 42m"_s));
        }
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
        QCOMPARE(WidgetGlass::blurRadius(8.0, false), 8);
        QCOMPARE(WidgetGlass::blurRadius(0.5, false), 1);
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
        // LegibleGlassTest measures how opaque the glass is; here the ends of the range.
        const auto [least, most] = WidgetGlass::unblurredOpacityRange;
        QCOMPARE(WidgetGlass::unblurredOpacity(0), least);
        QCOMPARE(WidgetGlass::unblurredOpacity(AppSettings::maximumTint), most);
        QCOMPARE(WidgetGlass::unblurredOpacity(1), most);
        QCOMPARE(WidgetGlass::unblurredOpacity(std::nan("")), least);
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
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::GlassTest)
#include "GlassTest.moc"
