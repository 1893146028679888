#pragma once

#include "base/RandomSource.hpp"
#include "network/NNEnsemble.hpp"
#include "network/NetworkTwin.hpp"
#include "network/Numbers.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace melta::test {

// Random biases too, which initWeight leaves at one value.
inline void randomizeBiases(NNEnsemble& ensemble, unsigned seed) {
    for (NNLayer* const layer : ensemble.getLayers()) {
        for (int m = 0; m < ensemble.getNumModels(); ++m) {
            const std::vector<float> biases = randomFloats(layer->biasOf(m).size(), seed++, -0.4f, 0.4f);
            std::ranges::copy(biases, layer->biasOf(m).begin());
        }
    }
}

// An ensemble with random parameters and a block of random samples for it.
struct EnsembleFixture {
    EnsembleFixture(const NNShape& networkShape, int numInputs, std::size_t samples)
        : shape(networkShape), ensemble(shape, numInputs, true, false), numSamples(samples),
          inputs(randomFloats(samples * static_cast<std::size_t>(numInputs), 101, -1.5f, 1.5f)),
          outputs(samples * numModels()), outGrad(randomFloats(samples * numModels(), 102)),
          inpGrad(samples * numModels() * static_cast<std::size_t>(numInputs)) {
        sharedRandom().seed(4711);
        ensemble.initWeight(1.7f, 0.3f);
        randomizeBiases(ensemble, 200);
        bind(samples);
    }

    // Takes the first samples into the tile.
    void bind(std::size_t samples) {
        numSamples = samples;
        ensemble.prepareTile(tile, numSamples, true);
        tile.inpData = inputs.data();
        tile.outData = outputs.data();
        tile.inpGrad = inpGrad.data();
    }

    std::size_t numModels() const { return static_cast<std::size_t>(shape.numModels); }
    std::size_t numInp() const { return static_cast<std::size_t>(ensemble.getNumInp()); }

    std::vector<double> inputsOf(std::size_t sample) const {
        return toDouble(std::span(inputs).subspan(sample * numInp(), numInp()));
    }

    // Row of inpGrad.
    std::vector<double> inpGradOf(std::size_t sample, std::size_t model) const {
        return toDouble(std::span(inpGrad).subspan((sample * numModels() + model) * numInp(), numInp()));
    }

    NNShape shape;
    NNEnsemble ensemble;
    std::size_t numSamples;
    std::vector<float> inputs;  // [numSamples][numInp]
    std::vector<float> outputs; // [numSamples][numModels]
    std::vector<float> outGrad; // [numSamples][numModels]
    std::vector<float> inpGrad; // [numSamples][numModels][numInp]
    EnsembleTile tile;
};

// Networks of awkward shapes, all activations among them, and one of the usual size.
inline std::vector<NNShape> someShapes() {
    std::vector<NNShape> shapes;
    for (int activation = 1; activation <= 6; ++activation) {
        for (int numLayers = 1; numLayers <= 3; ++numLayers) {
            for (const int numModels : {1, 3}) {
                shapes.push_back({numModels, numLayers, 5 + 2 * numLayers, activation});
            }
        }
    }
    shapes.push_back({16, 2, 40, 5});
    return shapes;
}

// Calls work(fixture) for these shapes and some numbers of samples.
template <class Work>
void forSomeEnsembles(Work&& work) {
    for (const NNShape& shape : someShapes()) {
        for (const std::size_t numSamples : {std::size_t{1}, std::size_t{5}, std::size_t{33}}) {
            SCOPED_TRACE(testing::Message()
                         << shape.numModels << " models, " << shape.numLayers << " layers, " << shape.numNodes
                         << " nodes, activation " << shape.activation << ", " << numSamples << " samples");
            EnsembleFixture fixture(shape, 6, numSamples);
            work(fixture);
        }
    }
}

} // namespace melta::test
