#include "baseline/classical/PairDerivatives.hpp"

#include "structure/Geometry.hpp"

namespace melta {

void PairDerivatives::update(const Geometry& geometry, const PairCutoff& cutoff, std::size_t numElems) {
    findElements(geometry, numElems);
    const auto numAtoms = static_cast<std::size_t>(geometry.numAtoms);
    energyRow.assign(forceLength() + present.size(), 0.0);
    forceRows.assign(3 * numAtoms * forceLength(), 0.0);
    for (std::size_t i = 0; i < numAtoms; ++i) {
        neighbors.update(geometry, static_cast<int>(i), numElems);
        addAtom(geometry, i, cutoff);
    }
    energyRow.back() = -static_cast<double>(static_cast<float>(geometry.energyTotal));
}

void PairDerivatives::findElements(const Geometry& geometry, std::size_t numElems) {
    placeOf.assign(numElems, 0);
    for (const auto element : geometry.elements) {
        placeOf[static_cast<std::size_t>(element)] = 1;
    }
    present.clear();
    for (std::size_t e = 0; e < numElems; ++e) {
        if (placeOf[e] > 0) {
            placeOf[e] = present.size();
            present.push_back(e);
        }
    }
}

void PairDerivatives::addAtom(const Geometry& geometry, std::size_t i, const PairCutoff& cutoff) {
    const std::size_t numPairs = numPairsOf(present.size());
    const std::size_t place = placeOf[static_cast<std::size_t>(geometry.elements[i])];
    double* const rows = forceRows.data() + 3 * i * forceLength();
    for (std::size_t other = 0; other < present.size(); ++other) {
        const PairGroup group = neighbors.groupOf(present[other]);
        if (group.count == 0) {
            continue;
        }
        const auto sums = sumPairDerivatives(cutoff, group);
        for (std::size_t k = 0; k < numPowers; ++k) {
            const std::size_t column = k * numPairs + pairIndexOf(place, other);
            energyRow[column] += static_cast<double>(sums[k][0]);
            for (std::size_t c = 0; c < 3; ++c) {
                rows[c * forceLength() + column] = static_cast<double>(sums[k][c + 1]);
            }
        }
    }
    energyRow[numPowers * numPairs + place] += 1.0;
    for (std::size_t c = 0; c < 3; ++c) {
        rows[(c + 1) * forceLength() - 1] = -static_cast<double>(geometry.forces[3 * i + c]);
    }
}

} // namespace melta
