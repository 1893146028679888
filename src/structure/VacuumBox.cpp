#include "structure/VacuumBox.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace melta {
namespace {

using Vector = std::array<double, 3>;

// Beyond the gap, Angstrom.
constexpr double room = 1.0;

// Of a vector, that is not in the span of others.
constexpr double smallestShare = 1.0e-6;

double dotProduct(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double lengthOf(const Vector& v) {
    return std::sqrt(dotProduct(v, v));
}

// What is left of a vector at right angles to unit vectors that are so themselves.
Vector removeParts(Vector vector, std::span<const Vector> directions) {
    for (const Vector& direction : directions) {
        const double share = dotProduct(vector, direction);
        for (std::size_t c = 0; c < 3; ++c) {
            vector[c] -= share * direction[c];
        }
    }
    return vector;
}

Vector toUnit(const Vector& vector) {
    const double length = lengthOf(vector);
    return {vector[0] / length, vector[1] / length, vector[2] / length};
}

Vector rowOf(const std::array<double, 9>& cell, std::size_t row) {
    return {cell[3 * row], cell[3 * row + 1], cell[3 * row + 2]};
}

// Unit vectors at right angles that span what the periodic vectors span; fewer where these do not suffice.
std::vector<Vector> findDirections(const std::array<double, 9>& cell, const std::array<bool, 3>& isPeriodic) {
    std::vector<Vector> directions;
    for (std::size_t k = 0; k < 3; ++k) {
        const Vector vector = rowOf(cell, k);
        const Vector rest = removeParts(vector, directions);
        if (isPeriodic[k] && lengthOf(rest) > smallestShare * lengthOf(vector)) {
            directions.push_back(toUnit(rest));
        }
    }
    return directions;
}

// At right angles to all directions, and near an axis.
Vector findFreeDirection(std::span<const Vector> directions) {
    Vector best{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Vector vector{};
        vector[axis] = 1.0;
        const Vector rest = removeParts(vector, directions);
        if (lengthOf(rest) > lengthOf(best) + smallestShare) {
            best = rest;
        }
    }
    return toUnit(best);
}

double extentAlong(const Vector& direction, std::span<const double> positions) {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (std::size_t i = 0; i + 2 < positions.size(); i += 3) {
        const double place = dotProduct(direction, {positions[i], positions[i + 1], positions[i + 2]});
        low = std::min(low, place);
        high = std::max(high, place);
    }
    return std::max(high - low, 0.0);
}

} // namespace

bool spanPeriodic(const std::array<double, 9>& cell, const std::array<bool, 3>& isPeriodic) {
    const auto numPeriodic = static_cast<std::size_t>(std::ranges::count(isPeriodic, true));
    return findDirections(cell, isPeriodic).size() == numPeriodic;
}

double volumeOf(const std::array<double, 9>& cell) {
    const double determinant = cell[0] * (cell[4] * cell[8] - cell[5] * cell[7]) -
                               cell[1] * (cell[3] * cell[8] - cell[5] * cell[6]) +
                               cell[2] * (cell[3] * cell[7] - cell[4] * cell[6]);
    return std::abs(determinant);
}

std::array<double, 9> addVacuum(const std::array<double, 9>& cell, const std::array<bool, 3>& isPeriodic,
                                std::span<const double> positions, double gap) {
    std::array<double, 9> box = cell;
    std::vector<Vector> directions = findDirections(cell, isPeriodic);
    for (std::size_t k = 0; k < 3; ++k) {
        if (isPeriodic[k]) {
            continue;
        }
        const Vector direction = findFreeDirection(directions);
        directions.push_back(direction);
        const double length = extentAlong(direction, positions) + gap + room;
        for (std::size_t c = 0; c < 3; ++c) {
            box[3 * k + c] = direction[c] * length;
        }
    }
    return box;
}

} // namespace melta
