#pragma once

#include <QEasingCurve>

namespace ostrelvan::Motion {

// A critically or under-damped spring, as a damped oscillator of unit mass: stiffness
// (2π / response)², damping 4π · dampingFraction / response.
struct Spring {
    double response = 0.5;
    double dampingFraction = 0.825;

    // The spring that lasts about `duration` with `bounce` (0 = none): response `duration`,
    // damping fraction 1 − bounce.
    static constexpr Spring withBounce(double duration, double bounce) {
        return {duration, 1.0 - bounce};
    }

    // Distance from the target `t` seconds after release at distance `from` with `velocity`
    // (towards the target is negative when `from` is positive).
    double offset(double t, double from, double velocity) const;
    double velocity(double t, double from, double velocity) const;
    // The unit step: 0 at t = 0 and at rest, rising towards 1 and overshooting it.
    double step(double t) const { return 1.0 - offset(t, 1.0, 0.0); }
    // The first time after which the unit step stays within `tolerance` of 1.
    double settlingTime(double tolerance = 0.001) const;

    bool operator==(const Spring&) const = default;
};

// The spring that the highlight scale and the panel's expansion use.
inline constexpr Spring hoverSpring{0.46, 0.72};

// The spring's unit step as an easing curve for an animation that lasts
// `Spring::settlingTime()` of that spring. QEasingCurve takes a plain function pointer, so the
// spring is a template argument (a constant with static storage).
template <const Spring& spring> qreal springEasing(qreal progress) {
    static const double duration = spring.settlingTime();
    if (progress >= 1.0)
        return 1.0;
    return spring.step(progress * duration);
}

template <const Spring& spring> QEasingCurve springCurve() {
    QEasingCurve curve;
    curve.setCustomType(&springEasing<spring>);
    return curve;
}

// The hover spring's curve; run it over `hoverSpring.settlingTime()` seconds.
QEasingCurve hoverCurve();
// The ease-out and ease-in-out timing curves: cubic Béziers (0, 0, 0.58, 1) and
// (0.42, 0, 0.58, 1).
QEasingCurve easeOut();
QEasingCurve easeInOut();

} // namespace ostrelvan::Motion
