#include "symmfunc/cluster/ClusterWeightGradient.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

namespace melta {
namespace {

constexpr std::array unitWeight{1.0f};

float sumOfSquares(std::span<const float> values) {
    float sum = 0.0f;
    for (const float value : values) {
        sum += value * value;
    }
    return sum;
}

} // namespace

void ClusterWeightGradient::reserve() {
    length = plan->numHarmonics() * plan->stride();
    for (AlignedBuffer<float>* const buffer : {&density, &tangent, &moved, &byDensity, &gamma}) {
        buffer->reserve(length);
    }
    sums.reserve(weights.size());
    std::fill_n(gamma.data(), length, 0.0f);
    std::fill_n(sums.data(), weights.size(), 0.0f);
}

void ClusterWeightGradient::start(const ClusterPlan& planOfOne, const ClusterPlan& planOfAll,
                                  const NeighborShellBuilder& neighbors,
                                  std::span<const float> elementWeights, std::span<float> scratchArray) {
    single = &planOfOne;
    plan = &planOfAll;
    builder = &neighbors;
    weights = elementWeights;
    scratch = scratchArray;
    reserve();
    const std::size_t numElems = weights.size() / plan->numChannels;
    densities.clear(*single, *plan, numElems);
    for (std::size_t e = 0; e < numElems; ++e) {
        addClusterDensity(builder->shell(), builder->getRange(e), *single, unitWeight, densities.of(e),
                          scratch);
    }
    densities.combine(weights, density.span().first(length));
}

void ClusterWeightGradient::addValues(std::span<const float> byValues) {
    computeClusterAdjoint(*plan, density.span(), byValues, byDensity.span(), scratch);
    std::transform(gamma.data(), gamma.data() + length, byDensity.data(), gamma.data(), std::plus<>());
}

void ClusterWeightGradient::addSlopes(std::span<const float> bySlopes, const NeighborDirections& directions) {
    computeTangents(directions);
    computeClusterAdjoint(*plan, density.span(), bySlopes, byDensity.span(), scratch);
    tangents.addWeightGradients(byDensity.span().first(length), sums.span().first(weights.size()));
    const float step = findStep();
    if (step > 0.0f) {
        addAdjoint(bySlopes, step, 0.5f / step);
        addAdjoint(bySlopes, -step, -0.5f / step);
    }
}

void ClusterWeightGradient::computeTangents(const NeighborDirections& directions) {
    const std::size_t numElems = weights.size() / plan->numChannels;
    tangents.clear(*single, *plan, numElems);
    for (std::size_t e = 0; e < numElems; ++e) {
        addClusterTangent(builder->shell(), builder->getRange(e), *single, unitWeight, directions,
                          tangents.of(e), scratch);
    }
    tangents.combine(weights, tangent.span().first(length));
}

// With which dc is as long as c; 0 where there is nothing to move along.
float ClusterWeightGradient::findStep() const {
    const float change = sumOfSquares(tangent.span().first(length));
    const float size = sumOfSquares(density.span().first(length));
    return change > 0.0f && size > 0.0f ? std::sqrt(size) / std::sqrt(change) : 0.0f;
}

// gamma += factor times J^T y at c + step dc.
void ClusterWeightGradient::addAdjoint(std::span<const float> bySlopes, float step, float factor) {
    for (std::size_t i = 0; i < length; ++i) {
        moved[i] = density[i] + step * tangent[i];
    }
    computeClusterAdjoint(*plan, moved.span(), bySlopes, byDensity.span(), scratch);
    for (std::size_t i = 0; i < length; ++i) {
        gamma[i] += factor * byDensity[i];
    }
}

void ClusterWeightGradient::addTo(std::span<float> gradients) {
    densities.addWeightGradients(gamma.span().first(length), sums.span().first(weights.size()));
    std::transform(gradients.begin(), gradients.end(), sums.data(), gradients.begin(), std::plus<>());
}

} // namespace melta
