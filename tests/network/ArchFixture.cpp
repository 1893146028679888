#include "network/ArchFixture.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "network/BatchFixture.hpp"
#include "network/EnsembleFixture.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"

#include <numeric>

namespace melta::test {

ArchFixture::ArchFixture(int numElems, std::span<const int> sizes) {
    property.symmFuncKind = ChebyshevKind::code;
    property.elemWeight = 0;
    property.numRadius = 5;
    property.numAngle = 3;
    property.rcutRadius = rcut;
    property.rcutAngle = 3.5f;
    property.modelsEnergy = 3;
    property.layersEnergy = 2;
    property.nodesEnergy = 7;
    property.modelsCharge = 2;
    property.layersCharge = 2;
    property.nodesCharge = 5;
    property.withHDNNP = 0;
    set.numElems = numElems;
    for (int e = 0; e < numElems; ++e) {
        set.elemNames.push_back(formatText("E%d", e + 1));
        set.energyDev.push_back(0.8 + 0.3 * e);
        set.chargeDev.push_back(0.2f + 0.1f * static_cast<float>(e));
        set.chargeAve.push_back(0.6f - 0.4f * static_cast<float>(e));
    }
    unsigned seed = 31;
    for (const int size : sizes) {
        set.geometries.push_back(std::make_unique<Geometry>(makeGeometry(size, numElems, seed++, rcut)));
    }
    set.numGeoms = static_cast<int>(sizes.size());
}

std::unique_ptr<NNArch> ArchFixture::makeArch(int mode, bool isMain, bool useAdam) const {
    auto arch = std::make_unique<NNArch>(mode, set.numElems, &property, isMain, useAdam);
    sharedRandom().seed(42);
    outputOf([&] { arch->initLayers(&set); });
    for (std::vector<NNEnsemble>* const ensembles :
         {&arch->getEnergyEnsembles(), &arch->getChargeEnsembles()}) {
        for (NNEnsemble& ensemble : *ensembles) {
            randomizeBiases(ensemble, 600);
        }
    }
    return arch;
}

std::unique_ptr<NNArch> ArchFixture::makeTrainingArch(bool useAdam, int mode) const {
    std::unique_ptr<NNArch> arch = makeArch(mode, true, useAdam);
    outputOf([&] {
        arch->setGeometriesAll(&set);
        arch->calculateSymmFuncs(true, true, true);
        arch->statisticsSymmFuncs(&set);
        arch->renormalizeSymmFuncs(true);
    });
    return arch;
}

SymmStatistics ArchFixture::makeStatistics() const {
    const std::unique_ptr<NNArch> arch = makeArch();
    outputOf([&] { arch->statisticsSymmFuncs(&set); });
    return arch->getSymmStatistics();
}

std::vector<Geometry*> ArchFixture::getGeometries() const {
    std::vector<Geometry*> geometries;
    for (const auto& geometry : set.geometries) {
        geometries.push_back(geometry.get());
    }
    return geometries;
}

EvaluatedGeometry evaluate(NNArch& arch, Geometry& geometry) {
    Geometry* const list[] = {&geometry};
    arch.setGeometries(list);
    arch.calculateSymmFuncs(true, false, true);
    arch.renormalizeSymmFuncs(false);
    arch.goBackwardOnForce();
    EvaluatedGeometry result;
    const auto energies = arch.obtainEnergies(0);
    const auto forces = arch.obtainForces(0);
    result.energies.assign(energies.begin(), energies.end());
    result.forces.assign(forces.begin(), forces.end());
    result.total = std::accumulate(energies.begin(), energies.end(), 0.0);
    arch.clearGeometries();
    return result;
}

} // namespace melta::test
