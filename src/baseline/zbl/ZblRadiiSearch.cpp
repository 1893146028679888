#include "baseline/zbl/ZblRadiiSearch.hpp"

#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace melta {
namespace {

// Covalent radii, Angstrom, from H to Pu, low spin (B. Cordero et al., Dalton Trans. 2008, 2832, Table 2).
constexpr std::array<double, 94> covalentRadii{
    0.31, 0.28, 1.28, 0.96, 0.84, 0.76, 0.71, 0.66, 0.57, 0.58, 1.66, 1.41, 1.21, 1.11, 1.07, 1.05,
    1.02, 1.06, 2.03, 1.76, 1.70, 1.60, 1.53, 1.39, 1.39, 1.32, 1.26, 1.24, 1.32, 1.22, 1.22, 1.20,
    1.19, 1.20, 1.20, 1.16, 2.20, 1.95, 1.90, 1.75, 1.64, 1.54, 1.47, 1.46, 1.42, 1.39, 1.45, 1.44,
    1.42, 1.39, 1.39, 1.38, 1.39, 1.40, 2.44, 2.15, 2.07, 2.04, 2.03, 2.01, 1.99, 1.98, 1.98, 1.96,
    1.94, 1.92, 1.92, 1.89, 1.90, 1.87, 1.87, 1.75, 1.70, 1.62, 1.51, 1.44, 1.41, 1.36, 1.36, 1.32,
    1.45, 1.46, 1.48, 1.40, 1.50, 1.50, 2.60, 2.21, 2.15, 2.06, 2.00, 1.96, 1.90, 1.87};

// A switch that begins earlier leaves less of the repulsion just below the data, where networks with many
// radial functions were seen to attract with 18 eV/Angstrom.
constexpr double innerShare = 0.75;

// In double precision, as the potential has it.
double distanceOf(const Geometry& geometry, std::size_t atom, const Neighbor& neighbor) {
    const std::array<float, 3> image = geometry.computeNeighborPosition(neighbor);
    double square = 0.0;
    for (std::size_t c = 0; c < 3; ++c) {
        const double d =
            static_cast<double>(image[c]) - static_cast<double>(geometry.positions[3 * atom + c]);
        square += d * d;
    }
    return std::sqrt(square);
}

// Shortest distances of all pairs of elements, [numElems][numElems], Angstrom; infinite without any.
std::vector<double> findShortest(const GeometrySet& set) {
    const auto numElems = static_cast<std::size_t>(set.numElems);
    std::vector<double> shortest(numElems * numElems, std::numeric_limits<double>::infinity());
    for (const auto& geometry : set.geometries) {
        for (int iatom = 0; iatom < geometry->numAtoms; ++iatom) {
            const auto i = static_cast<std::size_t>(iatom);
            double* const row = shortest.data() + numElems * static_cast<std::size_t>(geometry->elements[i]);
            for (const Neighbor& neighbor : geometry->getNeighbors(iatom)) {
                const std::int32_t other = geometry->elements[static_cast<std::size_t>(neighbor.atom)];
                row[other] = std::min(row[other], distanceOf(*geometry, i, neighbor));
            }
        }
    }
    return shortest;
}

double covalentRadius(int atomNumber) {
    return covalentRadii[static_cast<std::size_t>(std::clamp(atomNumber, 1, 94) - 1)];
}

double roundDown(double length) {
    constexpr double digits = 1.0e6;
    return std::floor(length * digits) / digits;
}

double chooseOuter(double shortest, double bond, double cutoff) {
    return roundDown(std::min(std::isfinite(shortest) ? shortest : bond, cutoff));
}

} // namespace

std::size_t addMissingRadii(std::vector<ZblRadii>& entries, const GeometrySet& set, const ZblWishes& wishes,
                            double cutoff, const std::string& fileName) {
    const std::size_t numBefore = entries.size();
    const std::vector<double> shortest = findShortest(set);
    const auto numElems = static_cast<std::size_t>(set.numElems);
    for (std::size_t i = 0; i < numElems; ++i) {
        for (std::size_t j = i; j < numElems; ++j) {
            if (findZblRadii(entries, set.elemNames[i], set.elemNames[j]) != nullptr) {
                continue;
            }
            const double bond =
                covalentRadius(set.elemAtomNumbers[i]) + covalentRadius(set.elemAtomNumbers[j]);
            const double outer =
                wishes.outer > 0.0 ? wishes.outer : chooseOuter(shortest[numElems * i + j], bond, cutoff);
            const double inner = wishes.inner > 0.0 ? wishes.inner : roundDown(innerShare * outer);
            entries.push_back({set.elemNames[i], set.elemNames[j], inner, outer});
            requireZblRadii(entries.back(), fileName);
        }
    }
    return entries.size() - numBefore;
}

} // namespace melta
