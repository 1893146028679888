#pragma once

#include "symmfunc/SymmFunc.hpp"

#include <cstddef>

namespace melta {

struct ManyBodyBlock;

// Smoothed histograms of the distances, and of the triangles, around an atom, resolved by element, after a
// method published in Phys. Rev. B 99, 064103 (2019). A raised cosine
//
//     phi_k(r) = 0.5 cos(pi (r - rinner - k h) / h) + 0.5
//
// around grid point k, on a uniform grid of step h from `rinner` to `router`, spreads each length over its
// two nearest points, so that the two parts add up to 1.
//
//     two-body, element e, point k, at m2 e + k:
//         sum over neighbours with r < router of phi_k(r), h = (router - rinner) / m2
//     three-body, at sizeRadiusBasis + v + u (u + 1) / 2 + P c, with u = m3 ej + a, v = m3 el + b not above
//     u, and P = (numElems m3) (numElems m3 + 1) / 2:
//         sum over pairs of neighbours j, l with rj, rl and the third side rjl below router of
//         phi_a(rj) phi_b(rl) phi_c(rjl), h = (router - rinner) / m3
//
// Of a pair, j is the one of the higher element or, within one element, the later one in the neighbour list.
// What would fall on v above u is left out, so that the functions depend on the order of the list: of two
// neighbours of one element on points a and b > a, the pair counts only if the farther one comes later.
//
// A length with x = (r - rinner) / h, cut to the integer i, touches the points max(i, 0) to
// min(i + 1, m - 1), if any. Below rinner, x is cut upwards: less than one step below it counts on points 0
// and 1, and less than two steps below on point 0. There the functions are not continuous.
class SymmFuncManyBody final : public SymmFunc {
public:
    // The arguments become numElems, m2, m3, rinner and router; `withWeight` must be false. Stops, in this
    // order, with the message of the base class, "many-body does not support elemWeight.", "size of 2-body is
    // not positive.", "size of 3-body is negative.", "inner radius is negative." and "outer radius is too
    // small."; and with "too many symmetry functions." when their number overflows.
    SymmFuncManyBody(int elems, bool withWeight, int size2, int size3, float innerRadius, float outerRadius);

    void calculateAtom(const NeighborArrays& neighbors, std::span<float> symmData,
                       std::span<float> symmDiff) const override;
    void calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                           std::span<float> byPositions) const override;

private:
    struct Workspace;
    static Workspace& workspace(); // of the calling thread

    void setSizes();
    void addRadius(const NeighborArrays& neighbors, const Workspace& work, std::size_t entry,
                   std::span<float> values, std::span<float> derivatives) const;
    void addRadiusGradient(const NeighborArrays& neighbors, const Workspace& work,
                           std::span<const float> byValues, std::span<float> byPositions) const;
    void addAngleGradient(Workspace& work, std::span<const float> byValues,
                          std::span<float> byPositions) const;
    [[nodiscard]] std::size_t triangleSize() const;
    [[nodiscard]] ManyBodyBlock makeAngleBlock(std::span<float> values, std::span<float> derivatives) const;

    int m2;                  // grid points of the two-body functions
    int m3;                  // grid points of each axis of the three-body functions; may be 0
    int sizeRadiusBasis = 0; // length of the two-body block
    int sizeAngleBasis = 0;  // length of the three-body block
    float rinner;            // start of the grid, Angstrom
    float router;            // end of the grid and cutoff, Angstrom
    float step2 = 0.0f;      // step of the two-body grid, Angstrom
    float step3 = 0.0f;      // step of the three-body grid, Angstrom; 0 without one
};

} // namespace melta
