#include "app/widget/Motion.h"

#include <QTest>
#include <cmath>

namespace ostrelvan::test {

using Motion::Spring;

class MotionTest : public QObject {
    Q_OBJECT
private slots:
    // Response 0.46 s and damping fraction 0.72: the unit step overshoots by
    // e^(−ζπ / √(1 − ζ²)) = 3.84 % at the first crest, half a damped period in, and stays within
    // a thousandth of its target from about 0.74 s on.
    void hoverSpringOvershootsOnceAndSettles() {
        const Spring& spring = Motion::hoverSpring;
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
        QCOMPARE(curve.valueForProgress(0), 0.0);
        QCOMPARE(curve.valueForProgress(1), 1.0);
        QVERIFY(curve.valueForProgress(0.4) > 1.0);
    }

    // Velocity is the offset's derivative, for every damping (the pop hands its position and
    // speed from one keyframe to the next).
    void velocityIsTheDerivativeOfTheOffset() {
        for (const Spring spring : {Spring{0.5, 0.7}, Spring{0.5, 1.0}, Spring{0.4, 1.6}}) {
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
        QCOMPARE(Spring::withBounce(0.5, 0.3), (Spring{0.5, 0.7}));
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::MotionTest)
#include "MotionTest.moc"
