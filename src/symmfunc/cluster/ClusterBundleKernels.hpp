// The way back and the tangents of the cluster functions for a bundle of columns, that is of functions of the
// values or of movements of the neighbours, one column to a lane. What only the neighbourhood decides is then
// worked out once for all of them.
//
// Arrays of a bundle have rows of `lanes` floats: byValues and changes [numValues][lanes], byDensity and
// tangent [numHarmonics][numChannels numRadius][lanes], positions [3][neighbours][lanes] in the order of the
// neighbour list. All of them are aligned to cache lines; lanes behind the last column hold copies of the
// first.
#pragma once

#include "symmfunc/NeighborShell.hpp"
#include "symmfunc/cluster/ClusterPlan.hpp"

#include <cstddef>
#include <span>

namespace melta {

// How long the rows of a bundle should be for that many columns: 4, 8 or 16 if vectors are so long, and at
// most a vector, so that a bundle need not hold all columns. Less than 4 where there are no such vectors.
std::size_t findClusterLanes(std::size_t numColumns);

// Makes rows of columns [numColumns][length], and the way back.
void gatherClusterColumns(std::span<const float> columns, std::size_t numColumns, std::size_t lanes,
                          std::span<float> rows);
void scatterClusterRows(std::span<const float> rows, std::size_t lanes, std::size_t numColumns,
                        std::span<float> columns);

// Length of the scratch array of the calls below.
std::size_t countClusterBundleScratch(const ClusterPlan& plan);

// Distance between the rows of a Jacobian.
inline std::size_t countJacobianStride(const ClusterPlan& plan) {
    return (plan.numRadius4 + ClusterPlan::columnsAtOnce - 1) / ClusterPlan::columnsAtOnce *
           ClusterPlan::columnsAtOnce;
}

// The derivatives of the four-body values by the densities, [numChannels][numTriples][numHarmonics][stride]:
// a value depends on the densities of its own radial function alone.
std::size_t countClusterJacobian(const ClusterPlan& plan);
void computeClusterJacobian(const ClusterPlan& plan, std::span<const float> density,
                            std::span<float> jacobian);

// The derivatives of the columns by the densities, from those by the values.
void computeClusterBundleAdjoint(const ClusterPlan& plan, std::span<const float> density,
                                 std::span<const float> jacobian, std::span<const float> byValues,
                                 std::size_t lanes, std::span<float> byDensity);

// The derivatives by the positions of the neighbours of a range, all of one element with those weights. The
// other neighbours stay as they are.
void computeClusterBundleGradient(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                                  std::span<const float> weights, std::span<const float> byDensity,
                                  std::size_t lanes, std::span<float> byPositions, std::span<float> scratch);

// Adds to `tangent` how the densities change when the neighbours of a range, all of one element, move along
// the directions.
void addClusterBundleTangent(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                             std::span<const float> weights, std::span<const float> directions,
                             std::size_t lanes, std::span<float> tangent, std::span<float> scratch);

// How the values change when the densities change by `tangent`.
void computeClusterBundleChanges(const ClusterPlan& plan, std::span<const float> density,
                                 std::span<const float> jacobian, std::span<const float> tangent,
                                 std::size_t lanes, std::span<float> changes);

} // namespace melta
