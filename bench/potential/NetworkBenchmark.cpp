// The networks alone as an evaluation runs them: energies of a tile of atoms and the gradient of their mean
// over the models, against the multiply-adds that the processor is seen to do in the same run.

#include "base/RandomSource.hpp"
#include "network/NNEnsemble.hpp"
#include "support/FmaLoop.hpp"
#include "support/PairedTiming.hpp"

#include <benchmark/benchmark.h>
#include <cblas.h>

#include <vector>

namespace {

using namespace melta;

constexpr std::size_t numSamples = 96;
constexpr std::size_t numNodes = 40;
constexpr int tanhActivation = 5;

class Networks {
public:
    Networks(std::size_t models, std::size_t inputs)
        : numModels(models), numInputs(inputs),
          ensemble({static_cast<int>(models), 2, static_cast<int>(numNodes), tanhActivation},
                   static_cast<int>(inputs), false, false),
          inpData(numSamples * inputs), outData(numSamples * models), inpGrad(numSamples * models * inputs) {
        sharedRandom().seed(1);
        ensemble.initWeight(1.0f, 0.0f);
        for (float& value : inpData) {
            value = 2.0f * sharedRandom().drawUniform() - 1.0f;
        }
        ensemble.prepareTile(tile, numSamples, false);
        tile.inpData = inpData.data();
        tile.outData = outData.data();
        tile.inpGrad = inpGrad.data();
    }

    void evaluate() {
        ensemble.goForward(tile, true);
        ensemble.goBackward(tile);
        ensemble.computeSummedInputGrads(tile);
        benchmark::DoNotOptimize(inpGrad.data());
    }

    // Of the products of matrices, forth and back; activations are not counted.
    [[nodiscard]] std::size_t countMultiplyAdds() const {
        const std::size_t perModel =
            numNodes * (numInputs + numNodes + 1) + numNodes * (numNodes + numInputs);
        return numSamples * numModels * perModel;
    }

private:
    std::size_t numModels;
    std::size_t numInputs;
    NNEnsemble ensemble;
    EnsembleTile tile;
    std::vector<float> inpData;
    std::vector<float> outData;
    std::vector<float> inpGrad;
};

// Arguments: models, inputs. "ofPeak": the time that the multiply-adds alone would take, as part of the time.
void networks(benchmark::State& state) {
    openblas_set_num_threads(1);
    Networks tested(static_cast<std::size_t>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    for (auto _ : state) {
        tested.evaluate();
    }
    const std::size_t numRounds = tested.countMultiplyAdds() / bench::countMultiplyAdds();
    state.counters["ofPeak"] =
        bench::medianRatio([&] { benchmark::DoNotOptimize(bench::runMultiplyAdds(numRounds)); },
                           [&] { tested.evaluate(); }, 101);
    state.counters["s/atom"] =
        benchmark::Counter(static_cast<double>(numSamples),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(networks)
    ->ArgNames({"models", "inputs"})
    ->ArgsProduct({{1, 16}, {40, 80}})
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
