#include "testing/NNTester.hpp"

#include "base/MyTimer.hpp"
#include "base/Reporting.hpp"
#include "baseline/BaselineRemover.hpp"
#include "modelio/ModelStore.hpp"
#include "testing/LackingElements.hpp"

namespace melta {
namespace {

void printErrors(std::span<const QuantityError> errors) {
    for (const QuantityError& error : errors) {
        const QuantityNames names = error.quantity->getNames();
        printOut("    RMSE(%-7s: %12.5e %s\n", formatText("%s)", names.name).c_str(),
                 static_cast<double>(error.rootMeanSquare()), names.unit);
    }
    printOut("\n");
}

} // namespace

NNTester::NNTester(const Property* settings, const GeometrySet* set) : property(settings), geometrySet(set) {
    if (geometrySet == nullptr) {
        stopWithMessage("geometrySet is null.");
    }
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
}

void NNTester::performTesting(const std::string& networkFile, const std::string& baselineFile,
                              const TestFiles& files) const {
    MyTimer timer;
    timer.start();
    const int mode = withCharge() ? NNArch::energyAndCharge : NNArch::onlyEnergy;
    Model model{NNArch(mode, geometrySet->numElems, property, false, false), nullptr};
    model.arch.initLayers(geometrySet);
    flushOut();
    restoreNN(model.arch, networkFile, geometrySet, false);
    model.baseline = makeBaseline(geometrySet, property, baselineFile);
    printOut("  Testing:\n\n");
    flushOut();
    std::vector<QuantityError> errors = makeErrors();
    Tables tables = openTables(files);
    tellLackingElements(model.arch, *geometrySet);
    for (int g = 0; g < geometrySet->numGeoms; ++g) {
        testGeometry(model, geometrySet->obtainGeometry(g), errors, tables);
    }
    printErrors(errors);
    tables.etot.close();
    tables.eatom.close();
    tables.force.close();
    if (tables.charge) {
        tables.charge->close();
    }
    timer.stop();
    printOut("  * Wall time: %s.\n\n", timer.getFullTime().c_str());
}

NNTester::Tables NNTester::openTables(const TestFiles& files) const {
    Tables tables{{files.etot, "Etot"}, {files.eatom, "Eatom"}, {files.force, "Force"}, std::nullopt};
    if (withCharge()) {
        tables.charge.emplace(files.charge, "Charge");
    }
    return tables;
}

void NNTester::testGeometry(Model& model, Geometry& geometry, std::span<QuantityError> errors,
                            Tables& tables) const {
    NNArch& arch = model.arch;
    if (model.baseline) {
        model.baseline->removeFromGeometry(&geometry);
    }
    Geometry* const batch[] = {&geometry};
    arch.prepareBatch(batch, Derivatives::yes);
    arch.goForwardOnEnergy();
    arch.goBackwardOnForce();
    if (withCharge()) {
        arch.goForwardOnCharge();
    }
    arch.squareErrors(errors);
    printGeometryResults(model, geometry, tables);
    arch.clearGeometries();
}

// What both columns of an atom's energy are lowered by, eV.
double NNTester::referenceOf(const NNArch& arch, int element) const {
    return withBias ? -geometrySet->getElementEnergy(element)
                    : static_cast<double>(arch.obtainOutputBias(element));
}

NNTester::BaselineValues NNTester::baselineOf(BaselinePotential* baseline, const Geometry& geometry) {
    // A sum with -0 keeps the sign of every zero.
    BaselineValues values{-0.0f, std::vector<float>(geometry.energies.size(), -0.0f),
                          std::vector<float>(geometry.forces.size(), -0.0f)};
    if (baseline != nullptr) {
        values.total = baseline->obtainEnergiesAndForces(&geometry, values.energies, values.forces);
    }
    return values;
}

void NNTester::printGeometryResults(const Model& model, const Geometry& geometry, Tables& tables) const {
    const NNArch& arch = model.arch;
    const BaselineValues baseline = baselineOf(model.baseline.get(), geometry);
    const std::span<const float> energies = arch.obtainEnergies(0);
    const std::span<const float> forces = arch.obtainForces(0);
    double etotDFT = geometry.energyTotal;
    double etotNNP = 0.0;
    for (std::size_t a = 0; a < energies.size(); ++a) {
        const double reference = referenceOf(arch, geometry.elements[a]);
        const double predicted = static_cast<double>(energies[a]) - reference;
        etotDFT -= reference;
        etotNNP += predicted;
        const auto shift = static_cast<double>(baseline.energies[a]);
        tables.eatom.write(geometry.energies[a] - reference + shift, predicted + shift);
        for (std::size_t c = 3 * a; c < 3 * a + 3; ++c) {
            tables.force.write(static_cast<double>(geometry.forces[c] + baseline.forces[c]),
                               static_cast<double>(forces[c] + baseline.forces[c]));
        }
    }
    if (tables.charge) {
        const std::span<const float> charges = arch.obtainCharges(0);
        for (std::size_t a = 0; a < charges.size(); ++a) {
            tables.charge->write(static_cast<double>(geometry.charges[a]), static_cast<double>(charges[a]));
        }
    }
    const auto total = static_cast<double>(baseline.total);
    tables.etot.write((etotDFT + total) / geometry.numAtoms, (etotNNP + total) / geometry.numAtoms);
}

std::vector<QuantityError> NNTester::makeErrors() const {
    std::vector<QuantityError> errors{{&totalEnergy()}, {&atomicEnergy()}, {&atomicForce()}};
    if (withCharge()) {
        errors.push_back({&atomicCharge()});
    }
    return errors;
}

} // namespace melta
