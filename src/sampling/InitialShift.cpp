#include "sampling/InitialShift.hpp"

#include "base/RandomSource.hpp"
#include "structure/LebedevDirections.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

constexpr float unitOfDraw = 3.0517578e-05f; // 1/32768
constexpr float fullTurn = 6.2831855f;

// In (0, 1], so that its logarithm is finite.
float drawPositive(RandomSource& random) {
    return static_cast<float>(random.draw() + 1) * unitOfDraw;
}

void displace(std::span<float> position, float distance, RandomSource& random) {
    const std::array<double, 3>& direction = drawDirection(random);
    for (std::size_t c = 0; c < 3; ++c) {
        position[c] += static_cast<float>(direction[c]) * distance;
    }
}

} // namespace

std::pair<float, float> randomGaussians(RandomSource& random) {
    const float radius = std::sqrt(std::max(0.0f, -2.0f * std::log(drawPositive(random))));
    const float angle = fullTurn * drawPositive(random);
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

void shiftInitially(std::span<const int> atoms, float length, std::span<float> positions,
                    RandomSource& random) {
    const auto positionOf = [positions](int atom) {
        return positions.subspan(3 * static_cast<std::size_t>(atom), 3);
    };
    for (std::size_t i = 0; i < atoms.size(); i += 2) {
        const auto [g1, g2] = randomGaussians(random);
        displace(positionOf(atoms[i]), g1 * length, random);
        if (i + 1 < atoms.size()) {
            displace(positionOf(atoms[i + 1]), g2 * length, random);
        }
    }
}

} // namespace melta
