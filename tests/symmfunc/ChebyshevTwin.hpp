// The Chebyshev symmetry functions once more, in double precision and in the most obvious way: one pair and
// one order at a time, straight from the formulas. What the fast kernels are measured with.
#pragma once

#include <array>
#include <vector>

namespace melta {
class Geometry;
}

namespace melta::test {

struct ChebyshevSettings {
    int numElems = 1;
    bool tanhCutoff = true;
    bool elemWeight = true;
    int numRadius = 1;
    int numAngle = 0;
    float rcutRadius = 6.0f; // Angstrom
    float rcutAngle = 6.0f;  // Angstrom
};

// The surroundings of one atom; each entry of the neighbour list has a position of its own.
struct Neighborhood {
    std::array<double, 3> center{};
    std::vector<std::array<double, 3>> positions;
    std::vector<int> elements;
    std::vector<int> atomNumbers;
};

Neighborhood makeNeighborhood(const Geometry& geometry, int iatom);

// Values and derivatives in the layout of SymmFunc. The scales are the sums of the magnitudes that the terms
// can reach: weight and cutoff for the values, with polynomials of size 1, and their slopes for the
// derivatives, with polynomial slopes of size k^2. Errors are measured in units of them.
struct TwinResult {
    int numBasis = 0;
    std::vector<double> values;     // [numBasis]
    std::vector<double> valueScale; // [numBasis]
    std::vector<double> diff;       // [3 (numNeighbors + 1)][numBasis]
    std::vector<double> diffScale;  // the same
};

TwinResult computeTwin(const ChebyshevSettings& settings, const Neighborhood& hood);

} // namespace melta::test
