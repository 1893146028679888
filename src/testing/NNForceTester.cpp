#include "testing/NNForceTester.hpp"

#include "base/MyTimer.hpp"
#include "base/Reporting.hpp"
#include "modelio/ModelStore.hpp"
#include "network/GradientDifference.hpp"
#include "testing/LackingElements.hpp"

#include <span>

namespace melta {
namespace {

float sumOf(std::span<const float> energies) {
    const float* const values = energies.data();
    const auto count = static_cast<int>(energies.size());
    float sum = 0.0f;
#pragma omp parallel for schedule(static) reduction(+ : sum)
    for (int i = 0; i < count; ++i) {
        sum += values[i];
    }
    return sum;
}

// Makes the geometry the batch and gives its energy, eV.
float evaluateEnergy(NNArch& arch, Geometry& geometry, Derivatives derivatives) {
    Geometry* const batch[] = {&geometry};
    arch.prepareBatch(batch, derivatives);
    arch.goForwardOnEnergy();
    return sumOf(arch.obtainEnergies(0));
}

} // namespace

NNForceTester::NNForceTester(const Property* settings, const GeometrySet* set)
    : property(settings), geometrySet(set) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
}

void NNForceTester::performTesting(const std::string& networkFile, float positionShift) const {
    if (positionShift == 0.0f) {
        stopWithMessage("atomic position shift is zero.");
    }
    printOut("  * Atomic position shift is %10.3e Angstrom.\n\n", static_cast<double>(positionShift));
    MyTimer timer;
    timer.start();
    NNArch arch(NNArch::onlyEnergy, geometrySet->numElems, property, false, false);
    arch.initLayers(geometrySet);
    flushOut();
    restoreNN(arch, networkFile, geometrySet, false);
    printOut("  Force Testing:\n\n");
    flushOut();
    Geometry& geometry = geometrySet->obtainGeometry(0);
    requireKnownElements(geometry);
    tellLackingElements(arch, *geometrySet);
    testGeometry(arch, geometry, positionShift);
    timer.stop();
    printOut("\n  * Wall time: %s.\n\n", timer.getFullTime().c_str());
}

// The networks take the numbers of the elements for granted.
void NNForceTester::requireKnownElements(const Geometry& geometry) const {
    for (const int element : geometry.elements) {
        static_cast<void>(geometrySet->getElementName(element));
    }
}

void NNForceTester::testGeometry(NNArch& arch, Geometry& geometry, float positionShift) const {
    const float energy0 = evaluateEnergy(arch, geometry, Derivatives::yes);
    arch.goBackwardOnForce();
    const std::span<const float> forces = arch.obtainForces(0);
    const std::vector<float> forcesNNP(forces.begin(), forces.end());
    arch.clearGeometries();
    printOut("                        F(DFT)        F(NNP)        F(Num)        Error\n");
    std::vector<float> forcesNum(forcesNNP.size());
    for (std::size_t i = 0; i < forcesNum.size(); ++i) {
        const float kept = geometry.positions[i];
        geometry.positions[i] += positionShift;
        const float energy = evaluateEnergy(arch, geometry, Derivatives::no);
        geometry.positions[i] = kept;
        arch.clearGeometries();
        forcesNum[i] = -(energy - energy0) / positionShift;
        if (i % 3 == 2) {
            printAtom(geometry, i / 3, forcesNNP, forcesNum);
        }
    }
}

void NNForceTester::printAtom(const Geometry& geometry, std::size_t atom, const std::vector<float>& forcesNNP,
                              const std::vector<float>& forcesNum) const {
    const std::string& name = geometrySet->getElementName(geometry.elements[atom]);
    const auto columns = [&](std::size_t component) {
        const std::size_t i = 3 * atom + component;
        return forceColumns(geometry.forces[i], forcesNNP[i], forcesNum[i]);
    };
    printOut("  #.%5d  %-6s (X)  %s\n", static_cast<int>(atom) + 1, name.c_str(), columns(0).c_str());
    printOut("                  (Y)  %s\n", columns(1).c_str());
    printOut("                  (Z)  %s\n", columns(2).c_str());
    flushOut();
}

std::string forceColumns(float reference, float analytic, float numerical) {
    const GradientDifference difference(analytic, numerical);
    return formatText("%12.5e  %12.5e  %12.5e  %12.5e (%6.2f%%)", static_cast<double>(reference),
                      static_cast<double>(analytic), static_cast<double>(numerical),
                      static_cast<double>(difference.error), static_cast<double>(difference.percent));
}

} // namespace melta
