// Passes of an ensemble over one tile, against plain matrix products of the same shapes: what is lost to
// activations, element-wise steps and the split into models.

#include "base/RandomSource.hpp"
#include "network/NNEnsemble.hpp"
#include "network/NNSecondDeriver.hpp"
#include "support/PairedTiming.hpp"

#include <benchmark/benchmark.h>
#include <cblas.h>

#include <vector>

namespace {

using namespace melta;

constexpr std::size_t numInputs = 80;
constexpr std::size_t numNodes = 40;

struct Passes {
    Passes(std::size_t models, std::size_t samples)
        : numModels(models), numSamples(samples),
          ensemble({static_cast<int>(models), 2, static_cast<int>(numNodes), 5}, static_cast<int>(numInputs),
                   true, false),
          inpData(samples * numInputs), outData(samples * models), outGrad(samples * models, 1.0f),
          inpGrad(samples * models * numInputs), grads(ensemble.makeGrads()),
          wide(samples * models * numNodes), weights(models * numNodes * numInputs) {
        sharedRandom().seed(1);
        ensemble.initWeight(1.0f, 0.0f);
        for (float& value : inpData) {
            value = 2.0f * sharedRandom().drawUniform() - 1.0f;
        }
        ensemble.prepareTile(tile, samples, true);
        tile.inpData = inpData.data();
        tile.outData = outData.data();
        tile.inpGrad = inpGrad.data();
    }

    void goForward() { ensemble.goForward(tile, true); }

    // A whole training step of the networks: energies, input gradients, exact weight gradients.
    void goThrough() {
        ensemble.goForward(tile, true);
        ensemble.goBackward(tile);
        ensemble.computeInputGrads(tile);
        NNSecondDeriver(&ensemble, &tile).updateWeightGrads(true, outGrad.data(), grads);
    }

    // By BLAS: one product of the first layer's shape for all models and one of the second layer's for each
    // model.
    void multiplyShapes(int numFirst, int numSecond) {
        const auto samples = static_cast<blasint>(numSamples);
        const auto nodes = static_cast<blasint>(numNodes);
        const auto inputs = static_cast<blasint>(numInputs);
        const auto row = static_cast<blasint>(numModels) * nodes;
        for (int i = 0; i < numFirst; ++i) {
            cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasTrans, samples, row, inputs, 1.0f, inpData.data(),
                        inputs, weights.data(), inputs, 0.0f, wide.data(), row);
        }
        for (int i = 0; i < numSecond; ++i) {
            for (std::size_t m = 0; m < numModels; ++m) {
                cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasTrans, samples, nodes, nodes, 1.0f,
                            wide.data() + m * numNodes, row, weights.data() + m * numNodes * numNodes, nodes,
                            0.0f, tile.layers[0].tangent.data() + m * numNodes, row);
            }
        }
    }

    std::size_t numModels;
    std::size_t numSamples;
    NNEnsemble ensemble;
    EnsembleTile tile;
    std::vector<float> inpData;
    std::vector<float> outData;
    std::vector<float> outGrad;
    std::vector<float> inpGrad;
    EnsembleGrads grads;
    std::vector<float> wide;
    std::vector<float> weights;
};

void setRate(benchmark::State& state, const Passes& passes) {
    state.counters["samples/s"] =
        benchmark::Counter(static_cast<double>(passes.numSamples * passes.numModels),
                           benchmark::Counter::kIsIterationInvariantRate);
}

// Arguments: models, samples.
void forwardPass(benchmark::State& state) {
    openblas_set_num_threads(1);
    Passes passes(static_cast<std::size_t>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    for (auto _ : state) {
        passes.goForward();
    }
    setRate(state, passes);
    state.counters["this/sgemm"] =
        1.0 / bench::medianRatio([&] { passes.multiplyShapes(1, 1); }, [&] { passes.goForward(); });
}

void trainingStep(benchmark::State& state) {
    openblas_set_num_threads(1);
    Passes passes(static_cast<std::size_t>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    for (auto _ : state) {
        passes.goThrough();
    }
    setRate(state, passes);
    // Forward, input gradient, tangent, and two weight gradients pass the first layer; forward, backward,
    // tangent, adjoint and two weight gradients the second.
    state.counters["this/sgemm"] =
        1.0 / bench::medianRatio([&] { passes.multiplyShapes(5, 6); }, [&] { passes.goThrough(); });
}

BENCHMARK(forwardPass)
    ->ArgNames({"models", "samples"})
    ->ArgsProduct({{1, 4, 16}, {64, 96, 256}})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(trainingStep)
    ->ArgNames({"models", "samples"})
    ->ArgsProduct({{1, 4, 16}, {64, 96, 256}})
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
