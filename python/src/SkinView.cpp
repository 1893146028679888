#include "SkinView.hpp"

#include <melta/Error.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace melta::python {
namespace {

using Matrix = std::array<double, 9>;

// Limits of what is searched at all. Common cells stay below them by orders of magnitude; beyond them a
// search would take all memory of the machine before it fails.
constexpr double mostImages = 1.0e6; // of the cell within reach
constexpr double mostPairs = 2.0e9;  // of neighbours

double determinantOf(const Matrix& m) {
    return m[0] * (m[4] * m[8] - m[5] * m[7]) + m[1] * (m[5] * m[6] - m[3] * m[8]) +
           m[2] * (m[3] * m[7] - m[4] * m[6]);
}

Matrix inverseOf(const Matrix& m) {
    const double scale = 1.0 / determinantOf(m);
    return {scale * (m[4] * m[8] - m[5] * m[7]), scale * (m[2] * m[7] - m[1] * m[8]),
            scale * (m[1] * m[5] - m[2] * m[4]), scale * (m[5] * m[6] - m[3] * m[8]),
            scale * (m[0] * m[8] - m[2] * m[6]), scale * (m[2] * m[3] - m[0] * m[5]),
            scale * (m[3] * m[7] - m[4] * m[6]), scale * (m[1] * m[6] - m[0] * m[7]),
            scale * (m[0] * m[4] - m[1] * m[3])};
}

// Row vector times matrix.
std::array<double, 3> multiply(const std::array<double, 3>& row, const Matrix& m) {
    return {row[0] * m[0] + row[1] * m[3] + row[2] * m[6], row[0] * m[1] + row[1] * m[4] + row[2] * m[7],
            row[0] * m[2] + row[1] * m[5] + row[2] * m[8]};
}

std::array<double, 3> rowOf(std::span<const double> rows, std::size_t row) {
    return {rows[3 * row], rows[3 * row + 1], rows[3 * row + 2]};
}

Matrix matrixOf(std::span<const double> cell) {
    Matrix matrix{};
    std::ranges::copy(cell, matrix.begin());
    return matrix;
}

void requireSearchable(const Structure& structure, double distance) {
    const Matrix cell = matrixOf(structure.cell);
    const double volume = std::abs(determinantOf(cell));
    if (!std::isfinite(volume)) {
        return; // for PeriodicView to refuse
    }
    const Matrix inverse = inverseOf(cell);
    double images = 1.0;
    for (std::size_t k = 0; k < 3; ++k) {
        // A column of the inverse is as long as one over the height of the cell.
        images *= 1.0 + 2.0 * distance * std::hypot(inverse[k], inverse[3 + k], inverse[6 + k]);
    }
    const auto numAtoms = static_cast<double>(structure.elements.size());
    const double sphere = 4.0 / 3.0 * std::numbers::pi * distance * distance * distance;
    const double pairs = numAtoms * numAtoms * sphere / volume;
    // Written so that a singular cell, whose numbers are not finite, does not pass either.
    if (!(images <= mostImages && pairs <= mostPairs)) {
        throw Error("cell is too small or too flat for its atoms and the cutoff.");
    }
}

} // namespace

void SkinView::update(const Structure& structure) {
    if (!isCovered(structure)) {
        build(structure);
    }
    move(structure);
}

// Positions are taken as r = r' F + u, where r' are those of the lists and F leads from their cell to this
// one. A pair that is not in the lists was reach + skin apart, hence is at least (1 - |F - 1|)(reach + skin)
// - 2 |u| apart now.
bool SkinView::isCovered(const Structure& structure) const {
    if (!built || structure.positions.size() != builtPositions.size() ||
        !std::ranges::equal(structure.elements, builtElements)) {
        return false;
    }
    Matrix deformation{};
    double squares = 0.0;
    for (std::size_t k = 0; k < 3; ++k) {
        const std::array<double, 3> row = multiply(rowOf(builtInverse, k), matrixOf(structure.cell));
        for (std::size_t c = 0; c < 3; ++c) {
            deformation[3 * k + c] = row[c];
            squares += (row[c] - (c == k ? 1.0 : 0.0)) * (row[c] - (c == k ? 1.0 : 0.0));
        }
    }
    double farthest = 0.0; // square of the longest u
    for (std::size_t i = 0; i < builtElements.size(); ++i) {
        const std::array<double, 3> expected = multiply(rowOf(builtPositions, i), deformation);
        double square = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double u = structure.positions[3 * i + c] - expected[c];
            square += u * u;
        }
        if (!(square <= skin * skin)) { // refuses what is not finite, too
            return false;
        }
        farthest = std::max(farthest, square);
    }
    // Rounding must not make lists of the very same structure new.
    constexpr double tolerance = 1.0e-9;
    return (1.0 - std::sqrt(squares)) * (reach + skin) - 2.0 * std::sqrt(farthest) >=
           reach * (1.0 - tolerance);
}

void SkinView::build(const Structure& structure) {
    built.reset();
    requireSearchable(structure, reach + skin);
    auto fresh =
        std::make_unique<PeriodicView>(structure.cell, structure.positions, structure.elements, reach + skin);
    builtCell = matrixOf(structure.cell);
    builtInverse = inverseOf(builtCell);
    builtPositions.assign(structure.positions.begin(), structure.positions.end());
    builtElements.assign(structure.elements.begin(), structure.elements.end());
    const NeighborView& view = fresh->view();
    const auto numAtoms = static_cast<std::size_t>(view.numAtoms);
    shifts.resize(3 * numAtoms);
    places.resize(3 * numAtoms);
    for (std::size_t i = 0; i < numAtoms; ++i) {
        const auto owner = static_cast<std::size_t>(fresh->owners()[i]);
        std::array<double, 3> distance{};
        for (std::size_t c = 0; c < 3; ++c) {
            distance[c] = view.positions[3 * i + c] - builtPositions[3 * owner + c];
        }
        const std::array<double, 3> whole = multiply(distance, builtInverse);
        std::ranges::transform(whole, shifts.begin() + static_cast<std::ptrdiff_t>(3 * i),
                               [](double x) { return std::round(x); });
    }
    movedView = view;
    movedView.positions = places.data();
    built = std::move(fresh);
    ++builds;
}

void SkinView::move(const Structure& structure) {
    const Matrix cell = matrixOf(structure.cell);
    const std::vector<int>& owners = built->owners();
    for (std::size_t i = 0; i < owners.size(); ++i) {
        const std::array<double, 3> shift = multiply(rowOf(shifts, i), cell);
        const auto owner = static_cast<std::size_t>(owners[i]);
        for (std::size_t c = 0; c < 3; ++c) {
            places[3 * i + c] = structure.positions[3 * owner + c] + shift[c];
        }
    }
}

} // namespace melta::python
