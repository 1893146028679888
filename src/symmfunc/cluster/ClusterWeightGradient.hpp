#pragma once

#include "base/AlignedBuffer.hpp"
#include "symmfunc/NeighborShellBuilder.hpp"
#include "symmfunc/cluster/ClusterKernels.hpp"
#include "symmfunc/cluster/ElementDensities.hpp"

#include <cstddef>
#include <span>

namespace melta {

// Derivatives by the weights of the elements, w_k(e), of what is linear in the values q of the cluster
// functions of an atom and in their changes dq along directions of the neighbours,
//
//     F = x . q + sum over columns of y . dq.
//
// With a^e the density of element e, c^k = sum over e of w_k(e) a^e, da^e and dc^k their changes, and
// J = dq/dc:
//
//     dF/dw_k(e) = gamma^k . a^e + sum over columns of (J^T y)^k . da^e,
//     gamma = J^T x + sum over columns of the change of J^T y along dc.
//
// J^T y is a polynomial of second degree in c, so that its difference between c + s dc and c - s dc gives the
// change without error for any s; steps as long as c itself keep the rounding small. Belongs to one thread.
class ClusterWeightGradient {
public:
    // Takes the neighbours of an atom, and the weights [numElems][numChannels] of its element. `single`: the
    // plan of one channel of `plan`. `scratch` as for the kernels. All are borrowed until the next atom.
    void start(const ClusterPlan& single, const ClusterPlan& plan, const NeighborShellBuilder& neighbors,
               std::span<const float> weights, std::span<float> scratch);

    // x [numValues]; once.
    void addValues(std::span<const float> byValues);

    // A column: y [numValues] and its directions.
    void addSlopes(std::span<const float> bySlopes, const NeighborDirections& directions);

    // Adds the derivatives to gradients [numElems][numChannels].
    void addTo(std::span<float> gradients);

private:
    void reserve();
    void computeTangents(const NeighborDirections& directions);
    void addAdjoint(std::span<const float> bySlopes, float step, float factor);
    [[nodiscard]] float findStep() const;

    const ClusterPlan* single = nullptr;
    const ClusterPlan* plan = nullptr;
    const NeighborShellBuilder* builder = nullptr;
    std::span<const float> weights;
    std::span<float> scratch;

    ElementDensities densities;     // a
    ElementDensities tangents;      // da of a column
    std::size_t length = 0;         // of the arrays of all channels below
    AlignedBuffer<float> density;   // c
    AlignedBuffer<float> tangent;   // dc of a column
    AlignedBuffer<float> moved;     // c + s dc
    AlignedBuffer<float> byDensity; // J^T y
    AlignedBuffer<float> gamma;
    AlignedBuffer<float> sums; // [numElems][numChannels], what the columns have given
};

} // namespace melta
