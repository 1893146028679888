#include "symmfunc/NeighborCutoffs.hpp"

#include "symmfunc/CutoffKernels.hpp"

#include <algorithm>
#include <cmath>

namespace melta {

void NeighborCutoffs::update(const NeighborArrays& neighbors, bool tanhCutoff, float rcutRadius,
                             float rcutAngle) {
    const auto r = neighbors.r();
    length = r.size();
    if (length > stride) {
        // Room to spare, since the next atom may have a few neighbours more.
        stride = (length + length / 4 + NeighborArrays::padding) / NeighborArrays::padding *
                 NeighborArrays::padding;
        values.resize(numArrays * stride);
    }
    fill(r, tanhCutoff, rcutRadius, 0);
    if (!(rcutAngle > 0.0f)) {
        return;
    }
    if (std::fabs(rcutRadius - rcutAngle) > 0.0001f) {
        fill(r, tanhCutoff, rcutAngle, 2);
    } else {
        std::ranges::copy(fcRadius(), writable(2).begin());
        std::ranges::copy(dfcRadius(), writable(3).begin());
    }
}

void NeighborCutoffs::fill(std::span<const float> r, bool tanhCutoff, float rcut, std::size_t first) {
    if (tanhCutoff) {
        computeTanhCutoff(r, rcut, writable(first), writable(first + 1));
    } else {
        computeCosineCutoff(r, rcut, writable(first), writable(first + 1));
    }
}

} // namespace melta
