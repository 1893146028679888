#pragma once

#include "base/RandomSource.hpp"
#include "config/SymmFuncKind.hpp"
#include "melta/PeriodicView.hpp"
#include "melta/Potential.hpp"
#include "modelio/ForceFieldExport.hpp"
#include "modelio/ModelStore.hpp"
#include "network/NNArch.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "training/SmallData.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace melta::test {

// A model of silicon and oxygen with random networks in a directory, and the arrangement that it came from,
// whose results are what the potential has to give.
class PotentialFixture : public testing::Test {
protected:
    PotentialFixture() : property(makeSmallProperty()) {}

    // Makes model, set and arrangement from the settings; forces come with the energies.
    void makeModel() {
        sharedRandom().seed(77);
        set = makeSet(property, makeDataText({.numGeoms = 4, .labels = {"Si", "O", "Si", "O"}, .seed = 40}));
        symmFuncKindOf(property).fitToElements(property, set->numElems);
        const int mode = property.withCharge != 0 ? NNArch::energyAndCharge : NNArch::onlyEnergy;
        arch = std::make_unique<NNArch>(mode, set->numElems, &property, false, false);
        outputOf([this] { arch->initLayers(set.get()); });
        prepareStatistics(*arch, *set);
        outputOf([this] { storeNN(*arch, file("melta.data"), set.get()); });
    }

    void writeHistograms() {
        outputOf([this] { arch->writeSymmDistributions(file("melta.gdist"), set.get()); });
    }

    std::string exportModel(const std::string& baselineFile = "") {
        outputOf([&] { exportForceField(file("melta.data"), baselineFile, file("ffield.melta"), property); });
        return file("ffield.melta");
    }

    [[nodiscard]] std::string file(const std::string& name) const { return directory.file(name); }

    // A geometry of the set as a host would hand it over.
    [[nodiscard]] PeriodicView viewOf(const Geometry& geometry, const Potential& potential) const {
        const std::vector<double> cell(geometry.lattice.begin(), geometry.lattice.end());
        const std::vector<double> positions(geometry.positions.begin(), geometry.positions.end());
        std::vector<int> elements;
        for (const int element : geometry.elements) {
            elements.push_back(potential.elementIndex(set->getElementName(element)));
        }
        return {cell, positions, elements, potential.influenceDistance()};
    }

    // Energies (with the mean of the element), forces and charges of a geometry by the arrangement.
    struct Expected {
        std::vector<double> energies;
        std::vector<double> forces;
        std::vector<double> charges;
    };
    Expected expect(Geometry& geometry) {
        Expected expected;
        Geometry* const batch[] = {&geometry};
        arch->setGeometries(batch);
        outputOf([this] { arch->calculateSymmFuncs(true, false, true); });
        arch->renormalizeSymmFuncs(false);
        arch->goBackwardOnForce();
        for (std::size_t a = 0; a < arch->obtainEnergies(0).size(); ++a) {
            expected.energies.push_back(static_cast<double>(arch->obtainEnergies(0)[a]) +
                                        set->getElementEnergy(geometry.elements[a]));
        }
        expected.forces.assign(arch->obtainForces(0).begin(), arch->obtainForces(0).end());
        if (property.withCharge != 0) {
            arch->goForwardOnCharge();
            expected.charges.assign(arch->obtainCharges(0).begin(), arch->obtainCharges(0).end());
        }
        arch->clearGeometries();
        return expected;
    }

    StopCatcher stopCatcher; // a stop that nobody expects fails the test
    TemporaryDirectory directory;
    Property property;
    std::unique_ptr<GeometrySet> set;
    std::unique_ptr<NNArch> arch;
};

} // namespace melta::test
