// The arithmetic of the cluster functions: from neighbours to densities, from densities to values, and both
// ways back. ClusterPlan.hpp has the layouts. All arrays of the plan's rows are aligned to cache lines.
#pragma once

#include "symmfunc/NeighborShell.hpp"
#include "symmfunc/ShellGradient.hpp"
#include "symmfunc/cluster/ClusterPlan.hpp"

#include <cstddef>
#include <span>

namespace melta {

// Length of the scratch array of all calls, for shells of that many neighbours.
std::size_t countClusterScratch(const ClusterPlan& plan, std::size_t numNeighbors);

// Adds the neighbours of a range, all of one element with weights [numChannels], to `density`.
void addClusterDensity(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                       std::span<const float> weights, std::span<float> density, std::span<float> scratch);

// The directions in which the neighbours of a shell move, in its order and padded like it.
struct NeighborDirections {
    std::span<const float> x, y, z;
};

// Adds to `tangent`, which is laid out like a density, how the density changes when the neighbours of a
// range, all of one element, move along the directions.
void addClusterTangent(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                       std::span<const float> weights, const NeighborDirections& directions,
                       std::span<float> tangent, std::span<float> scratch);

void computeClusterValues(const ClusterPlan& plan, std::span<const float> density, std::span<float> values);

// How the values change when the densities change by `tangent`.
void computeClusterValueTangent(const ClusterPlan& plan, std::span<const float> density,
                                std::span<const float> tangent, std::span<float> values);

// For a function of the values with derivatives `byValues`: its derivatives by the densities.
void computeClusterAdjoint(const ClusterPlan& plan, std::span<const float> density,
                           std::span<const float> byValues, std::span<float> byDensity,
                           std::span<float> scratch);

// Adds the derivatives by the positions of the neighbours of a range, all of one element with those weights.
void addClusterGradient(const NeighborShell& shell, NeighborRange range, const ClusterPlan& plan,
                        std::span<const float> weights, std::span<const float> byDensity,
                        const ShellGradient& result, std::span<float> scratch);

// Name of the instruction set that the calls above use on this processor.
const char* findClusterTarget();

} // namespace melta
