// What the twins of the symmetry functions share: the surroundings of an atom, cutoff values and the sums,
// all in double precision.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace melta {
class Geometry;
}

namespace melta::test {

// The surroundings of one atom; each entry of the neighbour list has a position of its own.
struct Neighborhood {
    std::array<double, 3> center{};
    std::vector<std::array<double, 3>> positions;
    std::vector<int> elements;
    std::vector<int> atomNumbers;
};

Neighborhood makeNeighborhood(const Geometry& geometry, int iatom);

// A neighbour relative to the central atom, with its cutoff values.
struct TwinRecord {
    double r = 0.0;
    std::array<double, 3> d{};
    double fcRadius = 0.0;
    double dfcRadius = 0.0;
    double fcAngle = 0.0;
    double dfcAngle = 0.0;
};

std::vector<TwinRecord> makeTwinRecords(const Neighborhood& hood, bool tanhCutoff, float rcutRadius,
                                        float rcutAngle);

void computeTwinCutoff(bool tanhCutoff, double r, double rc, double& value, double& derivative);

// Near the cutoff its function falls faster than the rounding of the distance allows to follow relative to
// its size.
constexpr double smallestCutoff = 1.0e-4;

// Values and derivatives in the layout of SymmFunc. The scales are sums over the terms, and errors are
// measured in units of them; the twin of each kind says what it adds.
struct TwinResult {
    int numBasis = 0;
    std::vector<double> values;     // [numBasis]
    std::vector<double> valueScale; // [numBasis]
    std::vector<double> diff;       // [3 (numNeighbors + 1)][numBasis]
    std::vector<double> diffScale;  // the same

    TwinResult() = default;
    TwinResult(int length, std::size_t numNeighbors);

    void addValue(int b, double value, double scale);

    // Adds to the row of a neighbour, and takes from that of the central atom.
    void addSlope(std::size_t entry, std::size_t axis, int b, double value, double scale);
};

// Whether j and k make a pair, j the outer one.
bool isTwinPair(const Neighborhood& hood, const std::vector<TwinRecord>& records, bool elemWeight,
                double rcutAngle, std::size_t j, std::size_t k);

} // namespace melta::test
