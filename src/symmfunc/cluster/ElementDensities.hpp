#pragma once

#include "base/AlignedBuffer.hpp"
#include "symmfunc/cluster/ClusterPlan.hpp"

#include <cstddef>
#include <span>

namespace melta {

// The densities that the neighbours of each element make by themselves, with weight 1, or the changes of
// these densities: those of the channels are sums of them, weighted. Weights, and derivatives by them, are
// [numElems][numChannels]. Belongs to one thread.
class ElementDensities {
public:
    // All zero for that many elements. `single` is the plan of one channel of `channels`; both are borrowed.
    void clear(const ClusterPlan& single, const ClusterPlan& channels, std::size_t numElems);

    // That of an element, laid out by the plan of one channel.
    [[nodiscard]] std::span<float> of(std::size_t element);

    // density = sum over the elements of weight times density, laid out by the plan of all channels.
    void combine(std::span<const float> weights, std::span<float> density) const;

    // The way back: adds to the derivatives by the weights those of a function whose derivatives by the
    // combined densities are `byDensity`.
    void addWeightGradients(std::span<const float> byDensity, std::span<float> gradients) const;

private:
    // Calls visit(element, channel, densities of a harmonic of the element, first column of the channel in
    // the combined densities) for all of them.
    template <class Visit>
    void forEachRow(Visit&& visit) const;

    const ClusterPlan* single = nullptr;
    const ClusterPlan* channels = nullptr;
    std::size_t numElems = 0;
    AlignedBuffer<float> densities; // [numElems][numHarmonics][stride of one channel]
};

} // namespace melta
