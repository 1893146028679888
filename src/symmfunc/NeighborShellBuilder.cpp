#include "symmfunc/NeighborShellBuilder.hpp"

#include <algorithm>
#include <cmath>

namespace melta {

void NeighborShellBuilder::pickByElement(const NeighborArrays& neighbors, std::span<const float> fc,
                                         std::span<const float> dfc, float rcut, int numElems) {
    countKinds(neighbors, rcut, false, static_cast<std::size_t>(numElems));
    places.assign(starts.begin(), starts.end() - 1);
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        if (neighbors.r()[n] < rcut) {
            store(neighbors, n, places[static_cast<std::size_t>(neighbors.elements()[n])]++, fc[n], dfc[n]);
        }
    }
    publish();
}

void NeighborShellBuilder::pickWeighted(const NeighborArrays& neighbors, std::span<const float> fc,
                                        std::span<const float> dfc, float rcut, bool withRoot) {
    countKinds(neighbors, rcut, true, 1);
    std::size_t place = 0;
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        if (neighbors.r()[n] < rcut) {
            const auto number = static_cast<float>(neighbors.atomNumbers()[n]);
            const float weight = withRoot ? std::sqrt(number) : number;
            store(neighbors, n, place++, weight * fc[n], weight * dfc[n]);
        }
    }
    publish();
}

void NeighborShellBuilder::countKinds(const NeighborArrays& neighbors, float rcut, bool isWeighted,
                                      std::size_t numKinds) {
    starts.assign(numKinds + 1, 0);
    for (std::size_t n = 0; n < neighbors.size(); ++n) {
        if (neighbors.r()[n] < rcut) {
            ++starts[1 + (isWeighted ? 0 : static_cast<std::size_t>(neighbors.elements()[n]))];
        }
    }
    for (std::size_t kind = 0; kind < numKinds; ++kind) {
        starts[kind + 1] += starts[kind];
    }
    reserve(starts[numKinds]);
}

void NeighborShellBuilder::reserve(std::size_t count) {
    picked.size = count;
    if (count + shellPadding > stride) {
        stride = (count + count / 4 + 2 * shellPadding) / shellPadding * shellPadding;
        values.resize(numArrays * stride);
        entries.resize(stride);
    }
}

void NeighborShellBuilder::store(const NeighborArrays& neighbors, std::size_t entry, std::size_t place,
                                 float fc, float dfc) {
    float* const to = values.data() + place;
    to[0] = neighbors.dx()[entry];
    to[stride] = neighbors.dy()[entry];
    to[2 * stride] = neighbors.dz()[entry];
    to[3 * stride] = neighbors.r()[entry];
    to[4 * stride] = fc;
    to[5 * stride] = dfc;
    entries[place] = static_cast<std::int32_t>(entry);
}

void NeighborShellBuilder::publish() {
    const std::size_t length = picked.size + shellPadding;
    // The lanes behind the last neighbour hold one that is harmless in any arithmetic.
    for (std::size_t which = 0; which < numArrays; ++which) {
        std::fill_n(values.data() + which * stride + picked.size, shellPadding, 1.0f);
    }
    const auto array = [&](std::size_t which) { return values.span().subspan(which * stride, length); };
    picked.dx = array(0);
    picked.dy = array(1);
    picked.dz = array(2);
    picked.r = array(3);
    picked.fc = array(4);
    picked.dfc = array(5);
    picked.entry = entries.span().first(picked.size);
}

} // namespace melta
