#include "modelio/NetworkCompanion.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/NetworkKind.hpp"
#include "config/Property.hpp"
#include "config/SymmFuncKind.hpp"
#include "structure/GeometrySet.hpp"
#include "symmfunc/InputMap.hpp"

#include <cctype>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

namespace melta {
namespace {

// Inputs of the first layers in the file. Nobody has trained networks beyond the limit of the arrangement, so
// that a file that asks for them is broken.
int inputsOfFile(const std::string& fileName, const Property& property, std::size_t numElems,
                 const NNEnsemble& ensemble) {
    const SymmFuncKind& symmFunc = symmFuncKindOf(property);
    if (!symmFunc.dependsOnElements(property)) {
        return ensemble.getNumInp();
    }
    constexpr double limit = 1.0e9;
    const NNShape& shape = ensemble.getShape();
    const double numInputs = symmFunc.countInputs(property, static_cast<int>(numElems));
    if (numInputs * shape.numNodes * shape.numModels * static_cast<double>(numElems) > limit) {
        stopWithMessage("neural network is too large: %s", fileName.c_str());
    }
    return static_cast<int>(numInputs);
}

// The value of an input whose element does not occur, after normalisation.
double absentInput(const HeadElement& element) {
    return -static_cast<double>(element.symmAve) / static_cast<double>(element.symmDev);
}

// Sum of the weights from some inputs to one output.
double sumOfWeights(const NNLayer& layer, int model, std::size_t output, std::span<const int> inputs) {
    const auto numInp = static_cast<std::size_t>(layer.getNumInp());
    const std::span<const float> weights = layer.weightOf(model).subspan(output * numInp, numInp);
    double sum = 0.0;
    for (const int input : inputs) {
        sum += static_cast<double>(weights[static_cast<std::size_t>(input)]);
    }
    return sum;
}

// Takes one model of a first layer over to other inputs. Its function stays the same where dropped and added
// inputs have the value `absent`, because the bias takes their place.
void projectFirstLayer(const NNLayer& source, const InputMap& map, double absent, NNLayer& layer, int model) {
    layer.projectWeightFrom(model, source, 0, map.targets);
    if (map.dropped.empty() && map.added.empty()) {
        return;
    }
    const std::span<float> bias = layer.biasOf(model);
    for (std::size_t o = 0; o < bias.size(); ++o) {
        const double sum = sumOfWeights(source, 0, o, map.dropped) - sumOfWeights(layer, model, o, map.added);
        bias[o] = static_cast<float>(static_cast<double>(bias[o]) + sum * absent);
        if (!std::isfinite(bias[o])) {
            stopWithMessage("cannot scan neural network @bias");
        }
    }
}

// Reads one output bias of energies, which has to be finite in single precision when it is measured from
// `energyAve`.
double scanOutputBias(std::FILE* stream, double energyAve) {
    double number = 0.0;
    const bool isRead = std::fscanf(stream, "%lf", &number) == 1;
    if (!isRead || !std::isfinite(static_cast<float>(number - energyAve))) {
        stopWithMessage("cannot scan neural network @bias1");
    }
    return number;
}

// Whether nothing but blanks is left.
bool isAtEnd(std::FILE* stream) {
    int character = std::getc(stream);
    while (character != EOF && std::isspace(character) != 0) {
        character = std::getc(stream);
    }
    return character == EOF;
}

// Reads networks one after the other, those that nobody wants into a scratch network.
class CompanionReader {
public:
    // `scratch` has one model and the first layer of the file; without `map` the inputs stay as they are.
    CompanionReader(std::FILE* file, const NetworkKind& networkKind, NNEnsemble scratchNetwork,
                    std::optional<InputMap> inputMap)
        : stream(file), kind(networkKind), scratch(std::move(scratchNetwork)), map(std::move(inputMap)) {}

    // One model of an ensemble whose element has the mean energy `energyAve`.
    void readNetwork(NNEnsemble& ensemble, int model, const HeadElement& element, double energyAve) {
        readFirstLayer(ensemble.getInterLayers().front(), model, element);
        readUpperLayers(ensemble, model, energyAve);
    }

    void skipNetwork() {
        scratch.getInterLayers().front().scanWeight(stream, 0, true);
        readUpperLayers(scratch, 0, 0.0);
    }

private:
    void readFirstLayer(NNLayer& layer, int model, const HeadElement& element) {
        if (!map) {
            layer.scanWeight(stream, model, true);
            return;
        }
        NNLayer& source = scratch.getInterLayers().front();
        source.scanWeight(stream, 0, true);
        projectFirstLayer(source, *map, absentInput(element), layer, model);
    }

    void readUpperLayers(NNEnsemble& ensemble, int model, double energyAve) {
        for (NNLayer& layer : std::span(ensemble.getInterLayers()).subspan(1)) {
            layer.scanWeight(stream, model, true);
        }
        NNLayer& lastLayer = ensemble.getLastLayer();
        lastLayer.scanWeight(stream, model, !kind.isFromMean);
        if (kind.isFromMean) {
            lastLayer.biasOf(model).front() =
                static_cast<float>(scanOutputBias(stream, energyAve) - energyAve);
        }
    }

    std::FILE* stream;
    const NetworkKind& kind;
    NNEnsemble scratch;
    std::optional<InputMap> map;
};

} // namespace

void writeCompanion(std::FILE* stream, const NetworkKind& kind, const GeometrySet& geometrySet,
                    const std::vector<NNEnsemble>& ensembles) {
    for (std::size_t e = 0; e < ensembles.size(); ++e) {
        const NNLayer& lastLayer = ensembles[e].getLastLayer();
        for (int m = 0; m < ensembles[e].getNumModels(); ++m) {
            for (const NNLayer& layer : ensembles[e].getInterLayers()) {
                layer.printWeight(stream, m, true);
            }
            lastLayer.printWeight(stream, m, !kind.isFromMean);
            if (kind.isFromMean) {
                std::fprintf(stream, "%.16e\n",
                             static_cast<double>(lastLayer.biasOf(m).front()) +
                                 geometrySet.getElementEnergy(static_cast<int>(e)));
            }
        }
    }
}

void readCompanion(FilePointer file, const std::string& fileName, const NetworkKind& kind,
                   const Property& property, const GeometrySet& geometrySet,
                   std::span<const HeadElement> elements, std::span<const int> mapOfElems,
                   std::vector<NNEnsemble>& ensembles) {
    if (!file) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
    NNShape shape = ensembles.front().getShape();
    const int numModels = std::exchange(shape.numModels, 1);
    const int numInputs = inputsOfFile(fileName, property, elements.size(), ensembles.front());
    std::optional<InputMap> map;
    if (const SymmFuncKind& symmFunc = symmFuncKindOf(property); symmFunc.dependsOnElements(property)) {
        map = symmFunc.mapInputs(property, mapOfElems, geometrySet.numElems);
    }
    CompanionReader reader(file.get(), kind, NNEnsemble(shape, numInputs, false, false), std::move(map));
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const int target = mapOfElems[i];
        for (int m = 0; m < numModels; ++m) {
            if (target < 0) {
                reader.skipNetwork();
            } else {
                reader.readNetwork(ensembles[static_cast<std::size_t>(target)], m, elements[i],
                                   geometrySet.getElementEnergy(target));
            }
        }
    }
    requireEnd(file.get(), fileName);
}

double readNetworks(std::FILE* stream, const NetworkKind& kind, NNEnsemble& ensemble) {
    NNLayer& lastLayer = ensemble.getLastLayer();
    std::vector<double> biases;
    for (int m = 0; m < ensemble.getNumModels(); ++m) {
        for (NNLayer& layer : ensemble.getInterLayers()) {
            layer.scanWeight(stream, m, true);
        }
        lastLayer.scanWeight(stream, m, !kind.isFromMean);
        if (kind.isFromMean) {
            biases.push_back(scanOutputBias(stream, 0.0));
        }
    }
    if (biases.empty()) {
        return 0.0;
    }
    const double mean =
        std::accumulate(biases.begin(), biases.end(), 0.0) / static_cast<double>(biases.size());
    for (int m = 0; m < ensemble.getNumModels(); ++m) {
        lastLayer.biasOf(m).front() = static_cast<float>(biases[static_cast<std::size_t>(m)] - mean);
    }
    return mean;
}

void requireEnd(std::FILE* stream, const std::string& fileName) {
    if (!isAtEnd(stream)) {
        stopWithMessage("there is text behind the last number: %s", fileName.c_str());
    }
}

bool holdsNumbers(const std::string& fileName, double count) {
    const FilePointer file = openForReading(fileName);
    for (double i = 0.0; file && i < count; i += 1.0) {
        float number = 0.0f;
        if (std::fscanf(file.get(), "%f", &number) != 1 || !std::isfinite(number)) {
            return false;
        }
    }
    return file && isAtEnd(file.get());
}

} // namespace melta
