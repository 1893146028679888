#include "potential/ModelRestorer.hpp"

#include "base/MemoryPurpose.hpp"
#include "base/Reporting.hpp"
#include "modelio/ModelStore.hpp"
#include "network/NetworkShape.hpp"
#include "potential/ModelLoader.hpp"
#include "symmfunc/SymmFuncFactory.hpp"

namespace melta {
namespace {

void takeElements(const GeometrySet& set, ModelData& model) {
    const auto numElems = static_cast<std::size_t>(set.numElems);
    model.elements.numElems = set.numElems;
    model.elements.elemNames = set.elemNames;
    model.elements.elemAtomNumbers = set.elemAtomNumbers;
    model.atomNumbers = set.elemAtomNumbers;
    model.statistics.symmAve.assign(numElems, 0.0f);
    model.statistics.symmDev.assign(numElems, -1.0f);
    const std::span<const float> weights = model.symmFunc->getElementWeights();
    model.statistics.elementWeights.assign(weights.begin(), weights.end());
}

std::vector<NNEnsemble> makeNetworks(const ModelData& model, const NetworkFields& fields) {
    const NNShape shape = shapeOfNetworks(model.settings, fields);
    const int numInputs = model.symmFunc->getNumBasis();
    if (isTooLarge(shape, numInputs, model.elements.numElems)) {
        stopWithMessage("neural network is too large.");
    }
    return allocateFor("neural networks", [&] {
        std::vector<NNEnsemble> ensembles;
        for (int e = 0; e < model.elements.numElems; ++e) {
            ensembles.emplace_back(shape, numInputs, false, false);
        }
        return ensembles;
    });
}

// Takes the mean of the output biases over the models out of the networks, in whose single precision it may
// bury small differences of energies.
float separateReference(NNEnsemble& ensemble) {
    NNLayer& lastLayer = ensemble.getLastLayer();
    float sum = 0.0f;
    for (int m = 0; m < ensemble.getNumModels(); ++m) {
        sum += lastLayer.biasOf(m).front();
    }
    const float mean = sum / static_cast<float>(ensemble.getNumModels());
    for (int m = 0; m < ensemble.getNumModels(); ++m) {
        lastLayer.biasOf(m).front() -= mean;
    }
    return mean;
}

} // namespace

std::unique_ptr<ModelData> restoreModel(const Property& settings, const GeometrySet& set,
                                        const std::string& networkFile, bool withCharges) {
    auto model = std::make_unique<ModelData>();
    model->settings = settings;
    model->symmFunc = SymmFuncFactory().requireSymmFunc(set.numElems, model->settings);
    printNumBasis(*model->symmFunc);
    takeElements(set, *model);
    model->energyNetworks = makeNetworks(*model, energyNetwork);
    if (withCharges) {
        model->chargeNetworks = makeNetworks(*model, chargeNetwork);
    }
    flushOut();
    restoreNetworks(settings, set, networkFile, model->statistics, model->energyNetworks,
                    model->chargeNetworks);
    model->symmFunc->setElementWeights(model->statistics.elementWeights);
    for (NNEnsemble& ensemble : model->energyNetworks) {
        model->references.push_back(static_cast<double>(separateReference(ensemble)));
    }
    return model;
}

void restoreHistograms(ModelData& model, const GeometrySet& set, const std::string& fileName) {
    printOut("  * Read distributions of symmetry functions.\n\n");
    allocateFor("distributions of symmetry functions", [&] { readHistograms(model, set, fileName); });
}

} // namespace melta
