#include "baseline/reax/ReaxCluster.hpp"

#include <algorithm>
#include <array>

namespace melta {
namespace {

constexpr std::array<float, 9> noCell{}; // there are no images

} // namespace

// The order of a bond depends on the bonds of its two atoms, and the over-coordination of an atom on the
// corrected orders of its neighbours: three bonds in a row.
double ReaxCluster::influenceOf(const ReaxParam& param) {
    return std::max(3.0 * param.rcut, param.rcutVdw);
}

void ReaxCluster::evaluate(std::span<const double> positions, std::span<const int> types,
                           std::span<const double> weights) {
    present.clear();
    presentTypes.clear();
    presentWeights.clear();
    places.clear();
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (types[i] >= 0) {
            present.push_back(static_cast<int>(i));
            presentTypes.push_back(types[i]);
            presentWeights.push_back(weights[i]);
            places.insert(places.end(), positions.begin() + static_cast<std::ptrdiff_t>(3 * i),
                          positions.begin() + static_cast<std::ptrdiff_t>(3 * i + 3));
        }
    }
    search.find(places, evaluation.listCutoff(), lists);
    evaluation.run(lists, noCell, presentTypes, places, true, presentWeights, true);
}

} // namespace melta
