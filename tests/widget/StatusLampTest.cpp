#include "app/widget/StatusLamp.h"

#include "app/widget/GlassColor.h"
#include "app/widget/LampAnimator.h"
#include "app/widget/Motion.h"

#include <QImage>
#include <QTest>
#include <cmath>

namespace ostrelvan::test {

namespace {

constexpr int centre = StatusLamp::extent / 2;

QImage picture(StatusLamp& lamp) {
    return lamp.grab().toImage().convertToFormat(QImage::Format_ARGB32);
}

// What the gem shows at the pixel just below and right of its centre: the colour under the
// specular highlight, which there is white at 0.55 × (1 − d / 6.6), d being the distance from
// the highlight's centre (−1.8, −2.4) to the pixel's middle (0.5, 0.5).
QColor expectedCentre(const QColor& lamp) {
    const double white = 0.55 * (1 - std::hypot(0.5 + 1.8, 0.5 + 2.4) / 6.6);
    const double base = lamp.alphaF();
    const double alpha = base + white * (1 - base);
    const auto channel = [&](double c) { return (c * base * (1 - white) + white) / alpha; };
    return QColor::fromRgbF(float(channel(lamp.redF())), float(channel(lamp.greenF())),
                            float(channel(lamp.blueF())), float(alpha));
}

bool near(const QColor& a, const QColor& b, int tolerance = 4) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance &&
           std::abs(a.alpha() - b.alpha()) <= tolerance;
}

QString describe(const QColor& c) {
    return c.name(QColor::HexArgb);
}

// Along the row through the centre: the opacity summed (the diameter of a lamp without glow), or
// the nearly opaque pixels counted (the gem's disc alone, as the glow never reaches that).
double across(const QImage& image, bool opaqueOnly = false) {
    double sum = 0;
    for (int x = 0; x < image.width(); ++x) {
        const QColor c = image.pixelColor(x, centre);
        sum += opaqueOnly ? double(c.alpha() > 200) : c.alphaF();
    }
    return sum;
}

// The strongest alpha in the ring between `inner` and `outer` pixels from the centre.
int ringAlpha(const QImage& image, double inner, double outer) {
    int strongest = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const double d = std::hypot(x + 0.5 - centre, y + 0.5 - centre);
            if (d >= inner && d <= outer)
                strongest = std::max(strongest, image.pixelColor(x, y).alpha());
        }
    return strongest;
}

constexpr WidgetLook still{.reduceMotion = true};

} // namespace

class StatusLampTest : public QObject {
    Q_OBJECT
    double now_ = 1000;

private slots:
    void init() {
        now_ = 1000;
        LampAnimator::shared().setClock([this] { return now_; });
    }
    void cleanup() { LampAnimator::shared().setClock({}); }

    void eachStatusShowsItsColourAndItsGlow() {
        const struct {
            std::optional<SessionStatus> status;
            QColor colour;
            bool glows;
        } cases[] = {
            {SessionStatus::working, QColor(76, 214, 138), true},
            {SessionStatus::needsApproval, QColor(255, 159, 67), true},
            {SessionStatus::idle, QColor(154, 163, 173), false},
            {std::nullopt, QColor(154, 163, 173, 153), false}, // the placeholder
        };
        for (const auto& [status, colour, glows] : cases) {
            StatusLamp lamp;
            lamp.setLook(still); // no ripple over the glow
            lamp.setStatus(status);
            const QImage image = picture(lamp);
            const QColor seen = image.pixelColor(centre, centre);
            QVERIFY2(near(seen, expectedCentre(colour)),
                     qPrintable(describe(seen) + " vs " + describe(expectedCentre(colour))));

            // The glow: the lamp's colour around the gem, or nothing at all. A disc of radius 6
            // blurred with a deviation of 4 covers 0.21 at 8 points out.
            const int glow = ringAlpha(image, 8, 30);
            QVERIFY2(glows ? glow > 32 && glow < 48 : glow == 0,
                     qPrintable(describe(colour) + " glows " + QString::number(glow)));
            const QColor halo = image.pixelColor(centre + 9, centre);
            QVERIFY(!glows || near(QColor(halo.rgb()), QColor(colour.rgb()), 10));
            // The lamp stays inside its widget: the border is clear.
            QCOMPARE(ringAlpha(image, centre - 0.5, 2 * centre), 0);
            // Highlighted, the glow reaches further.
            lamp.setHighlighted(true);
            QVERIFY(!glows || ringAlpha(picture(lamp), 19.5, 20.5) > ringAlpha(image, 16, 17));
        }
    }

    void highlightGrowsTheLampWithASpring() {
        StatusLamp lamp;
        lamp.setStatus(SessionStatus::idle);
        QVERIFY(std::abs(across(picture(lamp)) - 12) < 0.2);

        lamp.setHighlighted(true);
        QVERIFY(std::abs(across(picture(lamp)) - 12) < 0.2);
        now_ += 1;
        QVERIFY(std::abs(across(picture(lamp)) - 15) < 0.2);
        QVERIFY(!lamp.isAnimating(now_));

        // Back down, and jumping to the end on request.
        lamp.setHighlighted(false);
        QVERIFY(lamp.isAnimating(now_));
        lamp.finishTransitions();
        QVERIFY(!lamp.isAnimating(now_));
        QVERIFY(std::abs(across(picture(lamp)) - 12) < 0.2);
    }

    void workingLampRipplesOutAndSnapsBack() {
        StatusLamp lamp;
        lamp.setStatus(SessionStatus::working);
        QVERIFY(lamp.frameAt(now_).ripple);
        QCOMPARE(lamp.frameAt(now_).rippleScale, 1.0);
        QVERIFY(lamp.frameAt(now_ + 1.8 + 0.001).rippleScale < 1.01);
        // The ring shows beyond the glow's reach of a still lamp.
        StatusLamp calm;
        calm.setLook(still);
        calm.setStatus(SessionStatus::working);
        now_ += 0.6;
        QVERIFY(ringAlpha(picture(lamp), 9, 10) > ringAlpha(picture(calm), 9, 10) + 20);
        QVERIFY(lamp.isAnimating(now_ + 100));

        lamp.setStatus(SessionStatus::idle);
        QVERIFY(!lamp.frameAt(now_).ripple);
    }

    void reducedMotionStopsEveryAnimation() {
        StatusLamp lamp;
        lamp.setLook(still);
        lamp.setStatus(SessionStatus::idle);
        picture(lamp);
        lamp.setStatus(SessionStatus::working);
        const StatusLamp::Frame frame = lamp.frameAt(now_);
        QVERIFY(!frame.ripple);
        QCOMPARE(frame.popScale, 1.0);
        QVERIFY(!lamp.isAnimating(now_));
        lamp.setHighlighted(true);
        QCOMPARE(lamp.frameAt(now_).scale, StatusLamp::highlightScale);
        QVERIFY(!lamp.isAnimating(now_));

        // Turned on in the middle of a pop, it ends the pop there.
        StatusLamp moving;
        moving.setStatus(SessionStatus::idle);
        picture(moving);
        moving.setStatus(SessionStatus::needsApproval);
        QVERIFY(moving.frameAt(now_ + 0.1).popScale > 1);
        moving.setLook(still);
        QCOMPARE(moving.frameAt(now_ + 0.1).popScale, 1.0);
    }

    void statusChangePopsAndCrossFades() {
        StatusLamp lamp;
        lamp.setStatus(SessionStatus::idle);
        // A lamp that has not been painted takes its status as it is.
        QCOMPARE(lamp.frameAt(now_).popScale, 1.0);
        picture(lamp);

        lamp.setStatus(SessionStatus::working);
        now_ += 0.15; // half of the fade
        const QColor between = lamp.frameAt(now_).color;
        QVERIFY2(near(between, QColor((154 + 76) / 2, (163 + 214) / 2, (173 + 138) / 2), 2),
                 qPrintable(describe(between)));

        // The pop: up towards 1.5 for 0.16 s, then back to 1.
        now_ += 0.01;
        const double peak = lamp.frameAt(now_).popScale;
        QVERIFY2(peak > 1.25 && peak < 1.5, qPrintable(QString::number(peak)));
        QVERIFY(across(picture(lamp), true) >= 15);
        double highest = 1;
        for (double t = 0; t < 0.7; t += 0.005)
            highest = std::max(highest, lamp.frameAt(now_ - 0.16 + t).popScale);
        QVERIFY2(highest < 1.5, qPrintable(QString::number(highest)));
        now_ += 0.45;
        QCOMPARE(lamp.frameAt(now_).popScale, 1.0);
        QCOMPARE(lamp.frameAt(now_).color, GlassColor::success());
        QCOMPARE(across(picture(lamp), true), 12.0);

        // The same status again changes nothing.
        lamp.setStatus(SessionStatus::working);
        QCOMPARE(lamp.frameAt(now_).popScale, 1.0);
    }

    // Response 0.46 s and damping fraction 0.72: the unit step overshoots by
    // e^(−ζπ / √(1 − ζ²)) = 3.84 % at the first crest, half a damped period in, and stays within
    // a thousandth of its target from about 0.74 s on.
    void hoverSpringOvershootsOnceAndSettles() {
        const Motion::Spring& spring = Motion::hoverSpring;
        double peak = 0;
        double peakTime = 0;
        for (double t = 0; t < 2; t += 0.0005) {
            if (spring.step(t) > peak) {
                peak = spring.step(t);
                peakTime = t;
            }
        }
        const double z = 0.72;
        QVERIFY(std::abs(peak - 1 - std::exp(-z * M_PI / std::sqrt(1 - z * z))) < 1e-4);
        QVERIFY(std::abs(peakTime - 0.46 / 2 / std::sqrt(1 - z * z)) < 1e-3);
        const double settled = spring.settlingTime();
        QVERIFY2(settled > 0.7 && settled < 0.8, qPrintable(QString::number(settled)));
        for (double t = settled; t < 3; t += 0.001)
            QVERIFY(std::abs(spring.step(t) - 1) < 0.001);
        QCOMPARE(spring.step(0), 0.0);

        // The curve handed to QEasingCurve is that step stretched over the settling time.
        const QEasingCurve curve = Motion::hoverCurve();
        QCOMPARE(curve.valueForProgress(1), 1.0);
        QVERIFY(curve.valueForProgress(0.4) > 1.0);
    }

    // Velocity is the offset's derivative, for every damping (the pop hands its position and
    // speed from one keyframe to the next).
    void velocityIsTheDerivativeOfTheOffset() {
        for (const Motion::Spring spring :
             {Motion::Spring{0.5, 0.7}, Motion::Spring{0.5, 1.0}, Motion::Spring{0.4, 1.6}}) {
            for (double t : {0.0, 0.05, 0.16, 0.4}) {
                const double h = 1e-6;
                const double slope =
                    (spring.offset(t + h, 0.4, -2) - spring.offset(t - h, 0.4, -2)) / (2 * h);
                QVERIFY2(
                    std::abs(slope - spring.velocity(t, 0.4, -2)) < 1e-5,
                    qPrintable(QStringLiteral("ζ %1 t %2").arg(spring.dampingFraction).arg(t)));
            }
            QCOMPARE(spring.offset(0, 0.4, -2), 0.4);
            QVERIFY(std::abs(spring.velocity(0, 0.4, -2) + 2) < 1e-12);
            QVERIFY(std::abs(spring.offset(5, 0.4, -2)) < 1e-6);
        }
        QCOMPARE(Motion::Spring::withBounce(0.5, 0.3), (Motion::Spring{0.5, 0.7}));
    }

    // One timer for all lamps, running only while something moves.
    void theFrameTimerStopsWhenNothingMoves() {
        LampAnimator& animator = LampAnimator::shared();
        QWidget window;
        window.resize(200, 100);
        auto* working = new StatusLamp(&window);
        auto* idle = new StatusLamp(&window);
        idle->move(80, 0);
        working->setStatus(SessionStatus::working);
        idle->setStatus(SessionStatus::idle);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(animator.isTicking());
        QTRY_COMPARE(animator.animatingCount(), 1);

        working->setStatus(SessionStatus::idle); // pops for 0.61 s
        QVERIFY(animator.isTicking());
        now_ += 0.7;
        QTRY_VERIFY(!animator.isTicking());
        QCOMPARE(animator.animatingCount(), 0);

        // A hidden lamp is no reason to tick.
        working->setStatus(SessionStatus::working);
        QVERIFY(animator.isTicking());
        window.hide();
        QVERIFY(!animator.isTicking());
        window.show();
        QVERIFY(animator.isTicking());
        delete working;
        QVERIFY(!animator.isTicking());
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::StatusLampTest)
#include "StatusLampTest.moc"
