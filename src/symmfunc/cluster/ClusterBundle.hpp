#pragma once

#include "base/AlignedBuffer.hpp"
#include "symmfunc/NeighborShellBuilder.hpp"
#include "symmfunc/cluster/ClusterPlan.hpp"

#include <cstddef>
#include <span>

namespace melta {

// A neighbourhood after the way forth.
struct ClusterNeighborhood {
    const ClusterPlan& plan;
    const NeighborShellBuilder& builder;
    std::span<const float> weights; // [numElems][numChannels] of the central element
    std::span<const float> density; // [numHarmonics][stride]
};

// Several columns of one neighbourhood at once, one to a lane; ClusterBundleKernels.hpp has the layouts.
// Keeps its memory from call to call; belongs to one thread.
class ClusterBundle {
public:
    // Turns all columns of byValues [columns][numValues], with n neighbours in the list, into
    // byPositions [columns][3][n], or columns of directions [columns][3][n] into changes
    // [columns][numValues]. Both take columns from the first one on as long as enough of them are left to be
    // faster than one after the other, and return how many they took.
    std::size_t calculateGradients(const ClusterNeighborhood& hood, std::span<const float> byValues,
                                   std::span<float> byPositions);
    std::size_t calculateTangents(const ClusterNeighborhood& hood, std::span<const float> directions,
                                  std::span<float> changes);

private:
    // How columns are cut into bundles: `take` columns in rows of `lanes`, none when too few are left.
    struct Cut {
        std::size_t take;
        std::size_t lanes;
    };
    static Cut findCut(std::size_t numLeft);

    // Calls visit(first column, columns) for each bundle, prepared. Gives the number of columns taken.
    template <class Visit>
    std::size_t visitCuts(const ClusterNeighborhood& hood, std::size_t numColumns, std::size_t numComponents,
                          Visit&& visit);
    void prepare(const ClusterNeighborhood& hood, std::size_t numNeighbors, std::size_t numLanes);
    void prepareJacobian(const ClusterNeighborhood& hood);
    void sendBack(const ClusterNeighborhood& hood);
    void sendForth(const ClusterNeighborhood& hood);

    std::size_t lanes = 0;
    std::size_t numPositions = 0; // 3 n lanes
    AlignedBuffer<float> jacobian;
    AlignedBuffer<float> values;    // [numValues][lanes]
    AlignedBuffer<float> densities; // [numHarmonics][numChannels numRadius][lanes]
    AlignedBuffer<float> positions; // [3][n][lanes]
    AlignedBuffer<float> scratch;
};

} // namespace melta
