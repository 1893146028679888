#include "testing/NNTester.hpp"

#include "driver/MyTimer.hpp"
#include "driver/Reporting.hpp"
#include "modelio/ModelStore.hpp"

#include <cmath>

namespace melta {

NNTester::NNTester(const Property* settings, const GeometrySet* set) : property(settings), geometrySet(set) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
}

void NNTester::performTesting(const std::string& networkFile, const TestFiles& files) const {
    MyTimer timer;
    timer.start();
    NNArch arch(NNArch::onlyEnergy, geometrySet->numElems, property, false, false);
    arch.initLayers(geometrySet);
    flushOut();
    restoreNN(arch, networkFile, geometrySet, false);
    printOut("  Testing:\n\n");
    flushOut();
    Errors errors;
    Tables tables{{files.etot, "Etot"}, {files.eatom, "Eatom"}, {files.force, "Force"}};
    for (int g = 0; g < geometrySet->numGeoms; ++g) {
        testGeometry(arch, geometrySet->obtainGeometry(g), errors, tables);
    }
    printErrors(errors);
    tables.etot.close();
    tables.eatom.close();
    tables.force.close();
    timer.stop();
    printOut("  * Wall time: %s.\n\n", timer.getFullTime().c_str());
}

void NNTester::testGeometry(NNArch& arch, Geometry& geometry, Errors& errors, Tables& tables) const {
    errors.numAtoms += geometry.numAtoms;
    Geometry* const batch[] = {&geometry};
    arch.setGeometries(batch);
    arch.calculateSymmFuncs(true, false, false);
    arch.renormalizeSymmFuncs(false);
    arch.goForwardOnEnergy();
    arch.goBackwardOnForce();
    arch.squareErrorsOfEnergy(errors.etotError, errors.eatomError, &errors.forceError);
    printGeometryResults(arch, geometry, tables);
    arch.clearGeometries();
}

// What both columns of an atom's energy are lowered by, eV.
double NNTester::referenceOf(const NNArch& arch, int element) const {
    return withBias ? -geometrySet->getElementEnergy(element)
                    : static_cast<double>(arch.obtainOutputBias(element));
}

void NNTester::printGeometryResults(const NNArch& arch, const Geometry& geometry, Tables& tables) const {
    const std::span<const float> energies = arch.obtainEnergies(0);
    const std::span<const float> forces = arch.obtainForces(0);
    double etotDFT = geometry.energyTotal;
    double etotNNP = 0.0;
    for (std::size_t a = 0; a < energies.size(); ++a) {
        const double reference = referenceOf(arch, geometry.elements[a]);
        const double predicted = static_cast<double>(energies[a]) - reference;
        etotDFT -= reference;
        etotNNP += predicted;
        tables.eatom.write(geometry.energies[a] - reference, predicted);
        for (std::size_t c = 0; c < 3; ++c) {
            tables.force.write(static_cast<double>(geometry.forces[3 * a + c]),
                               static_cast<double>(forces[3 * a + c]));
        }
    }
    tables.etot.write(etotDFT / geometry.numAtoms, etotNNP / geometry.numAtoms);
}

void NNTester::printErrors(const Errors& errors) const {
    const auto numGeoms = static_cast<float>(geometrySet->numGeoms);
    const auto numAtoms = static_cast<float>(errors.numAtoms);
    const auto root = [](float sum, float count) { return static_cast<double>(std::sqrt(sum / count)); };
    printOut("    RMSE(Etot)  : %12.5e eV/atom\n", root(errors.etotError, numGeoms));
    printOut("    RMSE(Eatom) : %12.5e eV\n", root(errors.eatomError, numAtoms));
    printOut("    RMSE(Force) : %12.5e eV/Angstrom\n", root(errors.forceError, 3.0f * numAtoms));
    printOut("\n");
}

} // namespace melta
