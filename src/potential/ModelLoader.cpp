#include "potential/ModelLoader.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/NetworkKind.hpp"
#include "config/SymmFuncKind.hpp"
#include "modelio/NetworkCompanion.hpp"
#include "modelio/NetworkHead.hpp"
#include "modelio/OpenModel.hpp"
#include "network/NetworkShape.hpp"
#include "structure/ElementSymbols.hpp"

#include <cstdint>
#include <filesystem>
#include <numeric>
#include <span>
#include <utility>

namespace melta {
namespace {

// Puts a model together, part by part in the order of the functions.
class ModelBuilder {
public:
    // The head, and what follows from it alone.
    void takeHead(StoredHead head, const std::string& fileName) {
        model->settings = std::move(head.settings);
        if (model->settings.numAngle <= 0) {
            model->settings.rcutAngle = 0.0f;
        }
        for (const HeadElement& element : head.elements) {
            model->elements.elemNames.push_back(element.name);
            model->atomNumbers.push_back(findAtomicNumber(element.name));
            model->statistics.symmAve.push_back(element.symmAve);
            model->statistics.symmDev.push_back(element.symmDev);
        }
        model->elements.numElems = static_cast<int>(head.elements.size());
        model->symmFunc = symmFuncKindOf(model->settings).create(model->elements.numElems, model->settings);
        takeWeights(head.elements, fileName);
    }

    [[nodiscard]] const Property& getSettings() const { return model->settings; }

    void readBaseline(LineReader& lines, const std::string& fileName, bool isExported) {
        if (const BaselineKind* const kind = baselineKindOf(model->settings)) {
            model->baseline = kind->load(model->elements, model->settings, lines, fileName, isExported);
        }
    }

    void readEnergyNetworks(std::FILE* stream, const std::string& fileName) {
        model->energyNetworks = makeNetworks(energyKind, fileName);
        for (NNEnsemble& ensemble : model->energyNetworks) {
            model->references.push_back(readNetworks(stream, energyKind, ensemble));
        }
    }

    void readChargeNetworks(std::FILE* stream, const std::string& fileName) {
        model->chargeNetworks = makeNetworks(chargeKind, fileName);
        for (NNEnsemble& ensemble : model->chargeNetworks) {
            readNetworks(stream, chargeKind, ensemble);
        }
    }

    void takeHistograms(const std::string& fileName) { readHistograms(*model, model->elements, fileName); }

    std::shared_ptr<const ModelData> finish() { return std::move(model); }

private:
    void takeWeights(const std::vector<HeadElement>& elements, const std::string& fileName) {
        std::vector<float>& weights = model->statistics.elementWeights;
        const std::span<const float> present = model->symmFunc->getElementWeights();
        weights.assign(present.begin(), present.end());
        if (!weights.empty()) {
            std::vector<int> map(elements.size());
            std::iota(map.begin(), map.end(), 0);
            takeElementWeights(elements, map, elements.size(), fileName, weights);
            model->symmFunc->setElementWeights(weights);
        }
    }

    [[nodiscard]] std::vector<NNEnsemble> makeNetworks(const NetworkKind& kind,
                                                       const std::string& fileName) const {
        const Property& settings = model->settings;
        const NNShape shape{settings.*kind.fields.models, settings.*kind.fields.layers,
                            settings.*kind.fields.nodes, settings.*kind.fields.activ};
        const int numInputs = model->symmFunc->getNumBasis();
        if (isTooLarge(shape, numInputs, model->elements.numElems)) {
            stopWithMessage("neural network is too large: %s", fileName.c_str());
        }
        std::vector<NNEnsemble> ensembles;
        for (int e = 0; e < model->elements.numElems; ++e) {
            ensembles.emplace_back(shape, numInputs, false, false);
        }
        return ensembles;
    }

    std::shared_ptr<ModelData> model = std::make_shared<ModelData>();
};

FilePointer require(FilePointer file, const std::string& fileName) {
    if (!file) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    return file;
}

} // namespace

std::shared_ptr<const ModelData> loadModel(const std::string& directory) {
    const std::string path = directory.empty() || directory.back() == '/' ? directory : directory + "/";
    const std::string headName = path + fileNames::network;
    OpenModel files(headName);
    LineReader lines(std::move(files.head), headName);
    ModelBuilder builder;
    builder.takeHead(readStoredHead(lines, headName), headName);
    if (baselineKindOf(builder.getSettings()) != nullptr) {
        const std::string baselineName = path + baselineFileOf(builder.getSettings());
        LineReader baseline(require(openForReading(baselineName), baselineName), baselineName);
        builder.readBaseline(baseline, baselineName, false);
    }

    const std::string energyName = companionName(headName, energyKind);
    files.energy = require(std::move(files.energy), energyName);
    builder.readEnergyNetworks(files.energy.get(), energyName);
    requireEnd(files.energy.get(), energyName);
    if (builder.getSettings().withCharge != 0) {
        const std::string chargeName = companionName(headName, chargeKind);
        files.charge = require(std::move(files.charge), chargeName);
        builder.readChargeNetworks(files.charge.get(), chargeName);
        requireEnd(files.charge.get(), chargeName);
    }
    const std::string histograms = path + fileNames::distribution;
    if (std::filesystem::exists(histograms)) {
        builder.takeHistograms(histograms);
    }
    return builder.finish();
}

std::shared_ptr<const ModelData> readModel(const std::string& file) {
    LineReader lines(file);
    ModelBuilder builder;
    builder.takeHead(readStoredHead(lines, file), file);
    builder.readBaseline(lines, file, true);
    builder.readEnergyNetworks(lines.stream(), file);
    if (builder.getSettings().withCharge != 0) {
        builder.readChargeNetworks(lines.stream(), file);
    }
    requireEnd(lines.stream(), file);
    return builder.finish();
}

void readHistograms(ModelData& model, const GeometrySet& set, const std::string& fileName) {
    auto histograms = std::make_unique<SymmFuncDistribution>(
        model.elements.numElems, model.statistics.symmAve, model.statistics.symmDev, model.symmFunc.get());
    histograms->readDistribution(fileName, &set);
    model.histograms = std::move(histograms);
}

} // namespace melta
