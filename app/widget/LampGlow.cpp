#include "app/widget/LampGlow.h"

#include <algorithm>
#include <cmath>
#include <deque>

namespace ostrelvan::LampGlow {

namespace {

// e^(−x) · I₀(x), the scaled modified Bessel function of the first kind, by its power series
// (the arguments here stay small).
double scaledBesselI0(double x) {
    const double quarterSquare = x * x / 4;
    double term = 1;
    double sum = 1;
    for (int k = 1; k < 200 && term > sum * 1e-12; ++k) {
        term *= quarterSquare / (double(k) * k);
        sum += term;
    }
    return sum * std::exp(-x);
}

} // namespace

// The disc's area weighted by the Gaussian, integrated over the disc's radius with Simpson's
// rule.
double blurredDisc(double radius, double sigma, double distance) {
    constexpr int intervals = 40;
    const double h = radius / intervals;
    const double s2 = sigma * sigma;
    const auto f = [&](double rho) {
        const double dx = distance - rho;
        return rho / s2 * std::exp(-dx * dx / (2 * s2)) * scaledBesselI0(distance * rho / s2);
    };
    double sum = f(0) + f(radius);
    for (int i = 1; i < intervals; ++i)
        sum += f(i * h) * (i % 2 ? 4 : 2);
    return std::clamp(sum * h / 3, 0.0, 1.0);
}

// A lamp at rest asks for the same profile every frame of its ripple, so the last few are kept.
const std::vector<double>& profile(double radius, double sigma, double reach) {
    constexpr int stops = 24;
    struct Entry {
        double radius;
        double sigma;
        double reach;
        std::vector<double> profile;
    };
    static std::deque<Entry> kept;
    for (const Entry& entry : kept)
        if (entry.radius == radius && entry.sigma == sigma && entry.reach == reach)
            return entry.profile;
    std::vector<double> profile;
    for (int i = 0; i <= stops; ++i) {
        const double fraction = double(i) / stops;
        constexpr double taperStart = 0.8;
        double taper = 1;
        if (fraction > taperStart) {
            const double u = (fraction - taperStart) / (1 - taperStart);
            taper = 1 - u * u * (3 - 2 * u);
        }
        profile.push_back(blurredDisc(radius, sigma, fraction * reach) * taper);
    }
    constexpr std::size_t capacity = 16;
    if (kept.size() == capacity)
        kept.pop_back();
    kept.push_front({radius, sigma, reach, std::move(profile)});
    return kept.front().profile;
}

} // namespace ostrelvan::LampGlow
