#include "app/widget/Motion.h"

#include <QPointF>
#include <cmath>
#include <numbers>

namespace ostrelvan::Motion {

namespace {
double naturalFrequency(const Spring& spring) {
    return 2 * std::numbers::pi / spring.response;
}
} // namespace

double Spring::offset(double t, double from, double velocity) const {
    const double w = naturalFrequency(*this);
    const double z = dampingFraction;
    if (z < 1) {
        const double wd = w * std::sqrt(1 - z * z);
        const double b = (velocity + z * w * from) / wd;
        return std::exp(-z * w * t) * (from * std::cos(wd * t) + b * std::sin(wd * t));
    }
    if (z == 1)
        return std::exp(-w * t) * (from + (velocity + w * from) * t);
    const double root = std::sqrt(z * z - 1);
    const double r1 = -w * (z - root);
    const double r2 = -w * (z + root);
    const double c2 = (velocity - r1 * from) / (r2 - r1);
    return (from - c2) * std::exp(r1 * t) + c2 * std::exp(r2 * t);
}

double Spring::velocity(double t, double from, double velocity) const {
    const double w = naturalFrequency(*this);
    const double z = dampingFraction;
    if (z < 1) {
        const double wd = w * std::sqrt(1 - z * z);
        const double a = from;
        const double b = (velocity + z * w * from) / wd;
        return std::exp(-z * w * t) * ((-z * w * a + wd * b) * std::cos(wd * t) +
                                       (-z * w * b - wd * a) * std::sin(wd * t));
    }
    if (z == 1)
        return std::exp(-w * t) * (velocity - w * (velocity + w * from) * t);
    const double root = std::sqrt(z * z - 1);
    const double r1 = -w * (z - root);
    const double r2 = -w * (z + root);
    const double c2 = (velocity - r1 * from) / (r2 - r1);
    return (from - c2) * r1 * std::exp(r1 * t) + c2 * r2 * std::exp(r2 * t);
}

double Spring::settlingTime(double tolerance) const {
    // Sampled finely enough that a crest of the oscillation cannot slip between two samples.
    constexpr double dt = 0.0005;
    constexpr double horizon = 20;
    double last = 0;
    for (double t = 0; t < horizon; t += dt) {
        if (std::abs(offset(t, 1.0, 0.0)) >= tolerance)
            last = t;
    }
    return last + dt;
}

QEasingCurve hoverCurve() {
    return springCurve<hoverSpring>();
}

QEasingCurve easeOut() {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0, 0), QPointF(0.58, 1), QPointF(1, 1));
    return curve;
}

QEasingCurve easeInOut() {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0.42, 0), QPointF(0.58, 1), QPointF(1, 1));
    return curve;
}

} // namespace ostrelvan::Motion
