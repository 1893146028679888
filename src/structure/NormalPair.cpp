#include "structure/NormalPair.hpp"

#include "base/RandomSource.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

constexpr double unitOfDraw = 1.0 / (RandomSource::maxDraw + 1);
constexpr double fullTurn = 6.283185307179586;

// In (0, 1], so that its logarithm is finite.
double drawPositive(RandomSource& random) {
    return (random.draw() + 1) * unitOfDraw;
}

} // namespace

std::pair<double, double> drawNormalPair(RandomSource& random) {
    const double radius = std::sqrt(std::max(0.0, -2.0 * std::log(drawPositive(random))));
    const double angle = drawPositive(random) * fullTurn;
    return {std::sin(angle) * radius, std::cos(angle) * radius};
}

} // namespace melta
