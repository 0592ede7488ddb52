#pragma once

#include <vector>

// The lamps' glow as numbers: a gem blurred by a Gaussian, which the widget paints as a radial
// gradient. Qt-free.
namespace ostrelvan::LampGlow {

// How much of a disc of `radius`, blurred by a Gaussian of deviation `sigma`, covers a point
// `distance` from its centre, from 0 to 1.
double blurredDisc(double radius, double sigma, double distance);

// The opacity of the glow of a gem of `radius` at evenly spaced distances from its centre out
// to `reach`, tapering to nothing over the last fifth so that the widget's edge never cuts it
// visibly. Stays valid until sixteen other profiles have been asked for.
const std::vector<double>& profile(double radius, double sigma, double reach);

} // namespace ostrelvan::LampGlow
