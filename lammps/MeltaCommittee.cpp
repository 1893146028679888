#include "MeltaCommittee.hpp"

#include <cmath>

namespace melta {

void MeltaCommittee::clear(std::size_t numAtoms) {
    numModels = 0.0;
    mean.assign(3 * numAtoms, 0.0);
    squares.assign(numAtoms, 0.0);
}

// Mean and squares are updated together, because the difference of two large sums would lose small spreads.
void MeltaCommittee::add(const double* forces) {
    numModels += 1.0;
    for (std::size_t i = 0; i < mean.size(); ++i) {
        const double before = forces[i] - mean[i];
        mean[i] += before / numModels;
        squares[i / 3] += before * (forces[i] - mean[i]);
    }
}

void MeltaCommittee::finish() {
    forceSpread.resize(squares.size());
    for (std::size_t a = 0; a < squares.size(); ++a) {
        forceSpread[a] = std::sqrt(squares[a] / numModels);
    }
}

} // namespace melta
