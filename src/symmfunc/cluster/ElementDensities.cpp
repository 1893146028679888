#include "symmfunc/cluster/ElementDensities.hpp"

#include <algorithm>
#include <numeric>

namespace melta {

void ElementDensities::clear(const ClusterPlan& planOfOne, const ClusterPlan& planOfAll, std::size_t elems) {
    single = &planOfOne;
    channels = &planOfAll;
    numElems = elems;
    const std::size_t length = numElems * single->numHarmonics() * single->stride();
    densities.reserve(length);
    std::fill_n(densities.data(), length, 0.0f);
}

std::span<float> ElementDensities::of(std::size_t element) {
    const std::size_t length = single->numHarmonics() * single->stride();
    return densities.span().subspan(element * length, length);
}

template <class Visit>
void ElementDensities::forEachRow(Visit&& visit) const {
    const float* row = densities.data();
    for (std::size_t e = 0; e < numElems; ++e) {
        for (std::size_t h = 0; h < single->numHarmonics(); ++h, row += single->stride()) {
            for (std::size_t k = 0; k < channels->numChannels; ++k) {
                visit(e, k, std::span(row, single->numRadius),
                      h * channels->stride() + k * channels->numRadius);
            }
        }
    }
}

void ElementDensities::combine(std::span<const float> weights, std::span<float> density) const {
    std::ranges::fill(density, 0.0f);
    forEachRow([&](std::size_t e, std::size_t k, std::span<const float> row, std::size_t column) {
        const float weight = weights[e * channels->numChannels + k];
        for (std::size_t n = 0; n < row.size(); ++n) {
            density[column + n] += weight * row[n];
        }
    });
}

void ElementDensities::addWeightGradients(std::span<const float> byDensity,
                                          std::span<float> gradients) const {
    forEachRow([&](std::size_t e, std::size_t k, std::span<const float> row, std::size_t column) {
        float& gradient = gradients[e * channels->numChannels + k];
        gradient = std::inner_product(row.begin(), row.end(),
                                      byDensity.begin() + static_cast<std::ptrdiff_t>(column), gradient);
    });
}

} // namespace melta
