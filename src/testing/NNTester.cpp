#include "testing/NNTester.hpp"

#include "base/MyTimer.hpp"
#include "base/Reporting.hpp"
#include "baseline/BaselineRemover.hpp"
#include "config/BaselineKind.hpp"
#include "potential/ModelRestorer.hpp"
#include "structure/Units.hpp"
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

// What the networks give for the values of a quantity.
std::vector<float> valuesOf(const LossQuantity& quantity, const Geometry& geometry,
                            const Prediction& prediction) {
    const auto* const ofOutputs = dynamic_cast<const OutputQuantity*>(&quantity);
    if (ofOutputs == nullptr) {
        return &quantity == &atomicForce() ? prediction.forces : prediction.stress;
    }
    const bool isOfCharges = quantity.getTarget() == NetworkTarget::charge;
    std::vector<float> values(quantity.numValues(geometry));
    ofOutputs->collect(geometry, 1, isOfCharges ? prediction.charges : prediction.energies, values);
    return values;
}

// Adds the errors of one geometry.
void addErrors(std::span<QuantityError> errors, const Geometry& geometry, const Prediction& prediction) {
    for (QuantityError& error : errors) {
        if (error.quantity->numValues(geometry) == 0) {
            continue;
        }
        double sum = 0.0;
        addSquaredErrors(*error.quantity, geometry, valuesOf(*error.quantity, geometry, prediction), sum);
        error.sum += static_cast<float>(sum);
        error.count += error.quantity->divisorOf({1, geometry.elements.size(), 1});
    }
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
    const auto networks = restoreModel(*property, *geometrySet, networkFile, withCharge());
    const auto baseline = makeBaseline(geometrySet, property, baselineFile);
    Model model{*networks, baseline.get(), makeBaselineStress(baselineFile), GeometryPredictor(*networks)};
    printOut("  Testing:\n\n");
    flushOut();
    std::vector<QuantityError> errors = makeErrors();
    Tables tables = openTables(files);
    tellLackingElements(*networks, *geometrySet);
    for (int g = 0; g < geometrySet->numGeoms; ++g) {
        testGeometry(model, geometrySet->getGeometry(g), errors, tables);
    }
    printErrors(errors);
    tables.close(files.worst);
    timer.stop();
    printOut("  * Wall time: %s.\n\n", timer.getFullTime().c_str());
}

NNTester::Tables NNTester::openTables(const TestFiles& files) const {
    Tables tables{{files.etot, "Etot"},
                  {files.eatom, "Eatom"},
                  {files.force, "Force"},
                  {},
                  {},
                  WorstGeometries(geometrySet->elemNames)};
    if (withCharge()) {
        tables.charge.emplace(files.charge, "Charge");
    }
    if (geometrySet->hasStress()) {
        tables.stress.emplace(files.stress, "Stress");
    }
    return tables;
}

void NNTester::Tables::close(const std::string& worstFile) {
    etot.close();
    eatom.close();
    force.close();
    if (charge) {
        charge->close();
    }
    if (stress) {
        stress->close();
    }
    worst.write(worstFile);
}

std::optional<BaselineStress> NNTester::makeBaselineStress(const std::string& baselineFile) const {
    const BaselineKind* const kind = baselineKindOf(*property);
    if (kind == nullptr || !geometrySet->hasStress()) {
        return std::nullopt;
    }
    return BaselineStress(*kind, *geometrySet, *property, baselineFile);
}

void NNTester::testGeometry(Model& model, Geometry& geometry, std::span<QuantityError> errors,
                            Tables& tables) const {
    if (model.baseline != nullptr) {
        model.baseline->removeFromGeometry(&geometry);
    }
    if (model.baselineStress) {
        model.baselineStress->removeFromGeometry(geometry);
    }
    const Wishes outputs = Wish::energy | Wish::forces | Wish::virial | Wish::novelty;
    const Prediction& prediction =
        model.predictor.predict(geometry, withCharge() ? outputs | Wish::charges : outputs);
    addErrors(errors, geometry, prediction);
    tables.worst.add(geometry, prediction);
    printGeometryResults(model, geometry, prediction, tables);
}

// What both columns of an atom's energy are lowered by, eV.
double NNTester::referenceOf(const ModelData& networks, int element) const {
    return withBias ? -geometrySet->getElementEnergy(element)
                    : networks.references[static_cast<std::size_t>(element)];
}

NNTester::BaselineValues NNTester::baselineOf(const Model& model, const Geometry& geometry) {
    // A sum with -0 keeps the sign of every zero.
    BaselineValues values{-0.0f,
                          std::vector<float>(geometry.energies.size(), -0.0f),
                          std::vector<float>(geometry.forces.size(), -0.0f),
                          {}};
    values.stress.fill(-0.0f);
    if (model.baseline != nullptr) {
        values.total = model.baseline->obtainEnergiesAndForces(&geometry, values.energies, values.forces);
    }
    if (model.baselineStress && geometry.stressVolume) {
        values.stress = model.baselineStress->compute(geometry);
    }
    return values;
}

void NNTester::printGeometryResults(const Model& model, const Geometry& geometry,
                                    const Prediction& prediction, Tables& tables) const {
    const BaselineValues baseline = baselineOf(model, geometry);
    double etotDFT = geometry.energyTotal;
    double etotNNP = 0.0;
    for (std::size_t a = 0; a < prediction.energies.size(); ++a) {
        const double reference = referenceOf(model.networks, geometry.elements[a]);
        const double predicted = static_cast<double>(prediction.energies[a]) - reference;
        etotDFT -= reference;
        etotNNP += predicted;
        const auto shift = static_cast<double>(baseline.energies[a]);
        tables.eatom.write(geometry.energies[a] - reference + shift, predicted + shift);
        for (std::size_t c = 3 * a; c < 3 * a + 3; ++c) {
            tables.force.write(static_cast<double>(geometry.forces[c] + baseline.forces[c]),
                               static_cast<double>(prediction.forces[c] + baseline.forces[c]));
        }
    }
    if (tables.charge) {
        for (std::size_t a = 0; a < prediction.charges.size(); ++a) {
            tables.charge->write(static_cast<double>(geometry.charges[a]),
                                 static_cast<double>(prediction.charges[a]));
        }
    }
    if (geometry.stressVolume) {
        printStress(geometry, prediction, baseline, *tables.stress);
    }
    const auto total = static_cast<double>(baseline.total);
    tables.etot.write((etotDFT + total) / geometry.numAtoms, (etotNNP + total) / geometry.numAtoms);
}

void NNTester::printStress(const Geometry& geometry, const Prediction& prediction,
                           const BaselineValues& baseline, ResultFile& table) {
    const double scale = units::gigapascal / geometry.computeVolume();
    for (std::size_t c = 0; c < baseline.stress.size(); ++c) {
        table.write(scale * static_cast<double>((*geometry.stressVolume)[c] + baseline.stress[c]),
                    scale * static_cast<double>(prediction.stress[c] + baseline.stress[c]));
    }
}

std::vector<QuantityError> NNTester::makeErrors() const {
    std::vector<QuantityError> errors{{&totalEnergy()}, {&atomicEnergy()}, {&atomicForce()}};
    if (withCharge()) {
        errors.push_back({&atomicCharge()});
    }
    if (geometrySet->hasStress()) {
        errors.push_back({&cellStress()});
    }
    return errors;
}

} // namespace melta
