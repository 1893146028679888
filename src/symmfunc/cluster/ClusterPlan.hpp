#pragma once

#include "symmfunc/cluster/ClusterTriples.hpp"
#include "symmfunc/cluster/RealHarmonics.hpp"

#include <cstddef>

namespace melta {

// The sizes and coefficients that the kernels of the cluster functions work by.
//
// Densities, and the gradient by them, are [numHarmonics][stride]: column k numRadius + n is radial function
// n of channel k, and the columns behind are zero. The values are
//
//     two-body [numChannels][numRadius],
//     three-body of a channel [numChannels][maxAngular][2 numRadius - 1]: numRadius squares, then the
//         products of neighbouring radial functions,
//     three-body of two channels [pairs][maxAngular][numRadius], pairs 01, 02, 12, 03, ...,
//     four-body [numChannels][triples][numRadius4].
struct ClusterPlan {
    std::size_t numRadius = 0;
    std::size_t numChannels = 0;
    std::size_t maxAngular = 0; // 0 without three-body functions
    std::size_t numRadius4 = 0; // 0 without four-body functions
    float rcut = 0.0f;          // Angstrom
    HarmonicTables harmonics;
    ClusterTriples triples; // none without four-body functions

    // Columns are worked off in vectors of at most this many.
    static constexpr std::size_t columnsAtOnce = 8;

    // A vector that begins in the last column ends before the next row.
    static constexpr std::size_t padding = 16;

    [[nodiscard]] std::size_t numHarmonics() const { return (maxAngular + 1) * (maxAngular + 1); }
    [[nodiscard]] std::size_t numTriples() const { return triples.degrees.size(); }
    [[nodiscard]] std::size_t stride() const {
        return (numChannels * numRadius + padding - 1) / padding * padding + padding;
    }

    // Rows of radial functions, with zeros behind them.
    [[nodiscard]] std::size_t radiusStride() const {
        return (numRadius + columnsAtOnce - 1) / columnsAtOnce * columnsAtOnce;
    }

    // First value of the four blocks, and the end.
    [[nodiscard]] std::size_t startOfSquares() const { return numChannels * numRadius; }
    [[nodiscard]] std::size_t startOfPairs() const {
        return startOfSquares() + numChannels * maxAngular * (2 * numRadius - 1);
    }
    [[nodiscard]] std::size_t startOfTriples() const {
        return startOfPairs() + numChannels * (numChannels - 1) / 2 * maxAngular * numRadius;
    }
    [[nodiscard]] std::size_t numValues() const {
        return startOfTriples() + numChannels * numTriples() * numRadius4;
    }
};

} // namespace melta
