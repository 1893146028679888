#include "baseline/reax/ReaxCluster.hpp"

#include "structure/Geometry.hpp"

#include <algorithm>
#include <array>

namespace melta {

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
    if (present.empty()) {
        evaluation.clear();
        return;
    }
    placeInBox();
    evaluation.run(*box, presentTypes, places, true, presentWeights, true);
}

// A box so wide that nobody meets an image serves the search for neighbours.
void ReaxCluster::placeInBox() {
    const auto numAtoms = static_cast<int>(present.size());
    const double margin = 1.01 * evaluation.listCutoff() + 1.0;
    std::array<double, 3> low{places[0], places[1], places[2]};
    std::array<double, 3> high = low;
    for (std::size_t i = 0; i < places.size(); ++i) {
        low[i % 3] = std::min(low[i % 3], places[i]);
        high[i % 3] = std::max(high[i % 3], places[i]);
    }
    std::array<float, 9> lattice{};
    for (std::size_t c = 0; c < 3; ++c) {
        lattice[4 * c] = static_cast<float>(high[c] - low[c] + margin);
    }
    if (!box || box->numAtoms != numAtoms) {
        box = std::make_unique<Geometry>(lattice, numAtoms, false);
    }
    box->lattice = lattice;
    box->haveSetAtoms(0.0f, false);
    for (std::size_t i = 0; i < places.size(); ++i) {
        places[i] -= low[i % 3];
        box->positions[i] = static_cast<float>(places[i]);
    }
    box->createNeighbors(static_cast<float>(evaluation.listCutoff()));
}

} // namespace melta
