#include "training/SmallData.hpp"

#include "base/Reporting.hpp"
#include "network/Numbers.hpp"
#include "network/ParameterPacking.hpp"
#include "structure/DataFileText.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <algorithm>

namespace melta::test {
namespace {

constexpr float spacing = 4.6f; // Bohr

std::string textOf(float value) {
    return std::to_string(value);
}

std::string cubeOf(float edge) {
    const std::string a = textOf(edge);
    return a + " 0 0\n0 " + a + " 0\n0 0 " + a + "\n";
}

// Point of a cubic grid.
std::vector<float> gridPoint(std::size_t index, std::size_t side) {
    return {static_cast<float>(index % side), static_cast<float>(index / side % side),
            static_cast<float>(index / side / side)};
}

// Six random components of a stress, Ry/Bohr^3.
std::string stressText(unsigned seed) {
    std::string text;
    for (const float number : randomFloats(6, seed)) {
        text += formatText(" %.5e", 1.0e-4 * static_cast<double>(number));
    }
    return text;
}

// Fields of an atom line behind the label: position, atomic energy, force; no charges.
std::vector<std::string> fieldsOf(const std::vector<float>& position, float energy,
                                  std::span<const float> force) {
    return {textOf(position[0]),
            textOf(position[1]),
            textOf(position[2]),
            textOf(energy),
            textOf(force[0]),
            textOf(force[1]),
            textOf(force[2]),
            "0",
            "0",
            "0",
            "0",
            "0"};
}

} // namespace

Property makeSmallProperty() {
    Property property;
    property.maxForce = 0.0f;
    property.elemWeight = 0;
    property.numRadius = 3;
    property.numAngle = 2;
    property.rcutRadius = 3.5f;
    property.rcutAngle = 3.5f;
    property.modelsEnergy = 2;
    property.layersEnergy = 2;
    property.nodesEnergy = 4;
    property.lbfgs = 8;
    property.epochs = 3;
    property.epochsStore = 0;
    property.epochsOnlyE = 0;
    property.epochsApproxF = 0;
    property.geomsEpoch = 0;
    property.rmseEnergy = 1.0e-7f;
    property.rmseForce = 1.0e-7f;
    return property;
}

std::string makeDataText(const DataShape& shape) {
    const std::size_t numAtoms = shape.labels.size();
    const auto numbers =
        randomFloats(static_cast<std::size_t>(shape.numGeoms) * (7 * numAtoms + 1), shape.seed);
    std::span<const float> rest(numbers);
    std::string text;
    for (int g = 0; g < shape.numGeoms; ++g) {
        const float energy = -0.5f * static_cast<float>(numAtoms) + 0.1f * rest[0];
        rest = rest.subspan(1);
        text += std::to_string(numAtoms) + (shape.hasAtomEnergy ? " 1 " : " 0 ") + textOf(energy);
        if (shape.stressEvery > 0 && g % shape.stressEvery == 0) {
            text += stressText(shape.seed + 100U + static_cast<unsigned>(g));
        }
        text += "\n";
        text += cubeOf(2.0f * spacing);
        for (std::size_t a = 0; a < numAtoms; ++a) {
            std::vector<float> position = gridPoint(a, 2);
            std::vector<float> force;
            for (std::size_t c = 0; c < 3; ++c) {
                position[c] = spacing * position[c] + 0.6f * rest[c];
                force.push_back(0.05f * rest[3 + c]);
            }
            text += atomLine(shape.labels[a], fieldsOf(position, -0.5f + 0.05f * rest[6], force));
            rest = rest.subspan(7);
        }
    }
    return text;
}

std::string makeLadderText(int numGeoms) {
    constexpr float distance = 8.0f; // Bohr, beyond the range
    constexpr std::size_t side = 5;
    const std::vector<float> force(3, 0.0f);
    std::string text;
    for (int g = 0; g < numGeoms; ++g) {
        text += std::to_string(g + 1) + " 1 -0.5\n" + cubeOf(distance * static_cast<float>(side));
        for (int a = 0; a <= g; ++a) {
            std::vector<float> position = gridPoint(static_cast<std::size_t>(a), side);
            std::ranges::transform(position, position.begin(), [=](float v) { return v * distance; });
            text += atomLine("Si", fieldsOf(position, -0.5f, force));
        }
    }
    return text;
}

std::unique_ptr<GeometrySet> makeSet(const Property& property, const std::string& text,
                                     const GeometrySet* trainingSet) {
    const TemporaryDirectory directory;
    writeTextFile(directory.file("data"), text);
    auto set = std::make_unique<GeometrySet>();
    set->minEDev = property.minEDev;
    set->maxEDev = property.maxEDev;
    set->withHDNNP = property.withHDNNP != 0;
    set->regularElem = true;
    set->trainingSet = trainingSet;
    set->readGeometrySet(directory.file("data"), false);
    set->haveReadGeometrySet(&property, false, {}, 0);
    return set;
}

void prepareStatistics(NNArch& arch, const GeometrySet& set) {
    outputOf([&] { arch.statisticsSymmFuncs(&set); });
}

std::vector<float> parametersOf(const NNArch& arch) {
    std::vector<float> x(getTotalDataSize(arch));
    convertToTotalData(arch, x, false);
    return x;
}

void addTotalGradient(NNArch& arch, std::span<const float> gradient) {
    std::size_t next = 0;
    for (NNEnsemble& ensemble : arch.getEnergyEnsembles()) {
        const std::vector<NNLayer*> layers = ensemble.getLayers();
        for (int m = 0; m < ensemble.getNumModels(); ++m) {
            for (NNLayer* const layer : layers) {
                NNLayerGrads grads = layer->makeGrads();
                const auto fill = [&](std::span<float> all) {
                    const std::size_t size = all.size() / static_cast<std::size_t>(layer->getNumModels());
                    for (float& value : all.subspan(static_cast<std::size_t>(m) * size, size)) {
                        value = gradient[next++] / layer->getWeightScale();
                    }
                };
                fill(grads.weight.span());
                fill(grads.bias.span());
                layer->mergeWeightGrad(grads);
            }
        }
    }
}

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

} // namespace melta::test
