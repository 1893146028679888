#pragma once

#include "network/NNArch.hpp"

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace melta::test {

// A small data set with Chebyshev functions, and arrangements for it.
class ArchFixture {
public:
    static constexpr float rcut = 4.0f;

    // Elements alternate; the deviations of their energies are 0.8, 1.1, ... eV, those of their charges 0.2,
    // 0.3, ... e.
    ArchFixture(int numElems, std::span<const int> sizes);

    // An arrangement with layers; what it prints is dropped.
    std::unique_ptr<NNArch> makeArch(int mode = NNArch::onlyEnergy, bool isMain = true,
                                     bool useAdam = false) const;

    // The same with the in-core set registered, computed with derivatives and normalised.
    std::unique_ptr<NNArch> makeTrainingArch(bool useAdam = false, int mode = NNArch::onlyEnergy) const;

    // Ranges of the set, as a training would find them.
    SymmStatistics makeStatistics() const;

    std::vector<Geometry*> getGeometries() const;

    Property property;
    GeometrySet set;
};

// Energies and forces of one geometry, by an arrangement with ranges and weights of its own.
struct EvaluatedGeometry {
    std::vector<float> energies; // [numAtoms]
    std::vector<float> forces;   // [numAtoms][3]
    double total = 0.0;          // sum of the energies
};
EvaluatedGeometry evaluate(NNArch& arch, Geometry& geometry);

} // namespace melta::test
