#pragma once

#include "config/Property.hpp"
#include "modelio/NNIO.hpp"
#include "network/NNEnsemble.hpp"
#include "network/Numbers.hpp"
#include "structure/GeometrySet.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace melta::test {

// Everything that a model consists of, for the elements of one set.
struct Model {
    GeometrySet set;
    SymmStatistics statistics;
    std::vector<NNEnsemble> energy;
    std::vector<NNEnsemble> charge;
};

// The value of each input by its meaning, which does not depend on the elements that are around: these
// functions give the inputs of an atom in the layout of a list of elements. Inputs of elements that are not
// in `present` are zero, as the symmetry functions make them.
class RawInputs {
public:
    RawInputs(const Property& settings, std::vector<std::string> occurring)
        : property(settings), present(std::move(occurring)) {}

    [[nodiscard]] std::vector<float> layOut(const std::vector<std::string>& elements) const {
        std::vector<float> inputs;
        const bool isManyBody = property.symmFuncKind == ManyBodyKind::code;
        const int numRadial = isManyBody ? property.m2 : property.numRadius;
        for (const std::string& element : elements) {
            for (int k = 0; k < numRadial; ++k) {
                inputs.push_back(valueOf({element}, std::to_string(k)));
            }
        }
        isManyBody ? appendGrid(elements, inputs) : appendPairs(elements, inputs);
        return inputs;
    }

private:
    void appendPairs(const std::vector<std::string>& elements, std::vector<float>& inputs) const {
        const int perPair =
            property.symmFuncKind == BehlerKind::code ? 2 * property.numAngle : property.numAngle;
        for (std::size_t i = 0; i < elements.size(); ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                for (int k = 0; k < perPair; ++k) {
                    inputs.push_back(valueOf({elements[i], elements[j]}, std::to_string(k)));
                }
            }
        }
    }

    void appendGrid(const std::vector<std::string>& elements, std::vector<float>& inputs) const {
        std::vector<std::pair<std::string, int>> points;
        for (const std::string& element : elements) {
            for (int a = 0; a < property.m3; ++a) {
                points.emplace_back(element, a);
            }
        }
        for (int c = 0; c < property.m3; ++c) {
            for (std::size_t u = 0; u < points.size(); ++u) {
                for (std::size_t v = 0; v <= u; ++v) {
                    auto sides = {points[u].first + std::to_string(points[u].second),
                                  points[v].first + std::to_string(points[v].second)};
                    const auto [low, high] = std::minmax(sides);
                    inputs.push_back(
                        valueOf({points[u].first, points[v].first}, low + high + std::to_string(c)));
                }
            }
        }
    }

    // Some number for each meaning.
    [[nodiscard]] float valueOf(std::vector<std::string> elements, const std::string& function) const {
        std::ranges::sort(elements);
        std::string key = function;
        for (const std::string& element : elements) {
            if (std::ranges::find(present, element) == present.end()) {
                return 0.0f;
            }
            key += "/" + element;
        }
        unsigned hash = 2166136261U;
        for (const char character : key) {
            hash = (hash ^ static_cast<unsigned char>(character)) * 16777619U;
        }
        return static_cast<float>(hash % 1000U) * 0.002f;
    }

    const Property& property;
    std::vector<std::string> present;
};

// Small models in a directory of their own.
class ModelFiles : public testing::Test {
protected:
    ModelFiles() {
        property.elemWeight = 0;
        property.numRadius = 3;
        property.numAngle = 2;
        property.m2 = 3;
        property.m3 = 2;
        property.modelsEnergy = 2;
        property.layersEnergy = 2;
        property.nodesEnergy = 4;
    }

    // Elements with means and ranges that follow from their names, and random networks.
    void fill(Model& model, const std::vector<std::string>& elements, unsigned seed) const {
        setElements(model.set, elements);
        for (const std::string& element : elements) {
            model.statistics.symmAve.push_back(0.25f * static_cast<float>(element.front() - '?'));
            model.statistics.symmDev.push_back(1.5f + 0.125f * static_cast<float>(element.front() - '?'));
            model.energy.push_back(makeEnsemble(elements, seed++));
        }
    }

    static void setElements(GeometrySet& set, const std::vector<std::string>& elements) {
        set.numElems = static_cast<int>(elements.size());
        set.elemNames = elements;
        for (const std::string& element : elements) {
            set.elemAtomNumbers.push_back(element.front() - '@');
            set.energyAve.push_back(-100.0 * (element.front() - '@') - 1.0 / 3.0);
        }
    }

    [[nodiscard]] NNEnsemble makeEnsemble(const std::vector<std::string>& elements, unsigned seed) const {
        const std::vector<std::string> inputElements =
            property.elemWeight != 0 ? std::vector<std::string>{"-"} : elements;
        const std::size_t numInputs = RawInputs(property, {}).layOut(inputElements).size();
        NNEnsemble ensemble(
            {property.modelsEnergy, property.layersEnergy, property.nodesEnergy, property.activEnergy},
            static_cast<int>(numInputs), false, false);
        for (NNLayer* const layer : ensemble.getLayers()) {
            for (int m = 0; m < layer->getNumModels(); ++m) {
                std::ranges::copy(randomFloats(layer->weightOf(m).size(), seed++),
                                  layer->weightOf(m).begin());
                std::ranges::copy(randomFloats(layer->biasOf(m).size(), seed++), layer->biasOf(m).begin());
            }
        }
        return ensemble;
    }

    void write(const Model& model) const {
        NNIO(&property, &model.set).writeNetworkFile(headName, model.statistics, model.energy, model.charge);
    }

    void read(Model& model) const {
        NNIO(&property, &model.set).readNetworkFile(headName, model.statistics, model.energy, model.charge);
    }

    [[nodiscard]] std::string stopOfReading(Model& model) const {
        return stopMessageOf([&] { read(model); });
    }

    // Absolute energy that each model gives an atom of kind `element`.
    static std::vector<float> energiesOf(const Model& model, std::size_t element,
                                         const std::vector<float>& rawInputs) {
        const NNEnsemble& ensemble = model.energy[element];
        std::vector<float> inputs = rawInputs;
        for (float& input : inputs) {
            input = (input - model.statistics.symmAve[element]) / model.statistics.symmDev[element];
        }
        std::vector<float> outputs(static_cast<std::size_t>(ensemble.getNumModels()));
        EnsembleTile tile;
        ensemble.prepareTile(tile, 1, false);
        tile.inpData = inputs.data();
        tile.outData = outputs.data();
        ensemble.goForward(tile, false);
        for (float& output : outputs) {
            output += static_cast<float>(model.set.energyAve[element]);
        }
        return outputs;
    }

    // All parameters of an ensemble, weights before biases.
    static std::vector<float> parametersOf(const NNEnsemble& ensemble) {
        std::vector<float> values;
        for (const NNLayer* const layer : ensemble.getLayers()) {
            for (int m = 0; m < layer->getNumModels(); ++m) {
                std::ranges::copy(layer->weightOf(m), std::back_inserter(values));
                std::ranges::copy(layer->biasOf(m), std::back_inserter(values));
            }
        }
        return values;
    }

    static std::vector<std::string> splitWords(const std::string& text) {
        std::istringstream stream(text);
        std::vector<std::string> words;
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        return words;
    }

    // What else lies in the directory beside the two files of the model.
    [[nodiscard]] std::vector<std::string> otherFiles() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
            const std::string name = entry.path().filename().string();
            if (name != "melta.data" && name != "melta.data_e" && name != "melta.data_q") {
                names.push_back(name);
            }
        }
        return names;
    }

    TemporaryDirectory directory;
    std::string headName = directory.file("melta.data");
    std::string energyName = directory.file("melta.data_e");
    std::string chargeName = directory.file("melta.data_q");
    Property property;
};

} // namespace melta::test
