#include "melta/PeriodicView.hpp"

#include "base/Reporting.hpp"
#include "base/Run.hpp"
#include "structure/Geometry.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

namespace melta {
namespace {

using Vector = std::array<double, 3>;

Vector rowOf(std::span<const double> rows, std::size_t row) {
    return {rows[3 * row], rows[3 * row + 1], rows[3 * row + 2]};
}

Vector crossProduct(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double dotProduct(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Takes a point into the cell by whole cell vectors.
Vector wrap(std::span<const double> cell, Vector point) {
    for (std::size_t k = 0; k < 3; ++k) {
        const Vector normal = crossProduct(rowOf(cell, (k + 1) % 3), rowOf(cell, (k + 2) % 3));
        const Vector edge = rowOf(cell, k);
        const double shift = std::floor(dotProduct(normal, point) / dotProduct(normal, edge));
        for (std::size_t c = 0; c < 3; ++c) {
            point[c] -= shift * edge[c];
        }
    }
    return point;
}

// The lists of the cell, by our own search, in single precision.
Geometry searchNeighbors(std::span<const double> cell, std::span<const double> positions, double reach) {
    std::array<float, 9> lattice{};
    std::ranges::transform(cell, lattice.begin(), [](double x) { return static_cast<float>(x); });
    Geometry geometry(lattice, static_cast<int>(positions.size() / 3), false);
    geometry.haveSetAtoms(0.0f, false);
    std::ranges::transform(positions, geometry.positions.begin(),
                           [](double x) { return static_cast<float>(x); });
    geometry.createNeighbors(static_cast<float>(reach));
    return geometry;
}

void requireArguments(std::span<const double> cell, std::span<const double> positions,
                      std::span<const int> elements) {
    if (cell.size() != 9) {
        stopWithMessage("cell needs nine numbers.");
    }
    if (elements.empty()) {
        stopWithMessage("number of atoms is not positive.");
    }
    if (positions.size() != 3 * elements.size()) {
        stopWithMessage("positions need three numbers for each atom.");
    }
    const auto isFinite = [](double x) { return std::isfinite(static_cast<float>(x)); };
    if (!std::ranges::all_of(cell, isFinite) || !std::ranges::all_of(positions, isFinite)) {
        stopWithMessage("cell and positions have to be finite.");
    }
}

} // namespace

PeriodicView::PeriodicView(std::span<const double> cell, std::span<const double> positions,
                           std::span<const int> elements, double reach)
    : elementOf(elements.begin(), elements.end()) {
    Run run;
    const RunScope scope(run);
    requireArguments(cell, positions, elements);
    const std::size_t numLocal = elements.size();
    for (std::size_t i = 0; i < numLocal; ++i) {
        const Vector place = wrap(cell, rowOf(positions, i));
        places.insert(places.end(), place.begin(), place.end());
        ownerOf.push_back(static_cast<int>(i));
    }
    const Geometry geometry = searchNeighbors(cell, places, reach);
    std::map<std::tuple<int, int, int, int>, int> ghosts;
    const auto indexOf = [&](const Neighbor& neighbor) {
        if (neighbor.ia == 0 && neighbor.ib == 0 && neighbor.ic == 0) {
            return neighbor.atom;
        }
        const auto next = static_cast<int>(ownerOf.size());
        const auto [found, isNew] =
            ghosts.try_emplace({neighbor.atom, neighbor.ia, neighbor.ib, neighbor.ic}, next);
        if (isNew) {
            const std::array shifts{neighbor.ia, neighbor.ib, neighbor.ic};
            const auto owner = static_cast<std::size_t>(neighbor.atom);
            for (std::size_t c = 0; c < 3; ++c) {
                double x = places[3 * owner + c];
                for (std::size_t k = 0; k < 3; ++k) {
                    x += shifts[k] * cell[3 * k + c];
                }
                places.push_back(x);
            }
            ownerOf.push_back(neighbor.atom);
            elementOf.push_back(elementOf[owner]);
        }
        return found->second;
    };
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < numLocal; ++i) {
        starts.push_back(entries.size());
        for (const Neighbor& neighbor : geometry.getNeighbors(static_cast<int>(i))) {
            entries.push_back(indexOf(neighbor));
        }
        lengths.push_back(static_cast<int>(entries.size() - starts.back()));
    }
    for (const std::size_t start : starts) {
        lists.push_back(entries.data() + start);
    }
    neighborView = {.numAtoms = static_cast<int>(ownerOf.size()),
                    .numLocal = static_cast<int>(numLocal),
                    .positions = places.data(),
                    .elements = elementOf.data(),
                    .atoms = nullptr,
                    .numLists = static_cast<int>(numLocal),
                    .neighbors = lists.data(),
                    .lengths = lengths.data(),
                    .entryMask = -1};
}

void PeriodicView::fold(std::span<const double> rows, std::span<double> sums) const {
    Run run;
    const RunScope scope(run);
    if (rows.size() != 3 * ownerOf.size() || sums.size() != 3 * lists.size()) {
        stopWithMessage("rows and sums need three numbers for each atom.");
    }
    std::ranges::fill(sums, 0.0);
    for (std::size_t i = 0; i < ownerOf.size(); ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            sums[3 * static_cast<std::size_t>(ownerOf[i]) + c] += rows[3 * i + c];
        }
    }
}

} // namespace melta
