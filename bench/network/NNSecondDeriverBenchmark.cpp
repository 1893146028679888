// Exact gradient of the force loss with respect to the weights: one sweep along the direction of the force
// errors, compared with a sweep for each input node, both with the same matrix products, on the same batch.

#include "base/RandomSource.hpp"
#include "network/MatrixProducts.hpp"
#include "network/NNEnsemble.hpp"
#include "network/NNSecondDeriver.hpp"
#include "support/PairedTiming.hpp"

#include <benchmark/benchmark.h>
#include <cblas.h>

#include <vector>

namespace {

using namespace melta;
using Buffer = std::vector<float>;

constexpr std::size_t numNodes = 40;

// A network of two hidden layers and one model with a batch of samples.
struct Case {
    Case(std::size_t inputs, std::size_t samples, int models)
        : ensemble({models, 2, static_cast<int>(numNodes), 5}, static_cast<int>(inputs), true, false),
          inpData(samples * inputs), outData(samples * static_cast<std::size_t>(models)),
          inpGrad(samples * inputs * static_cast<std::size_t>(models)), grads(ensemble.makeGrads()) {
        sharedRandom().seed(1);
        ensemble.initWeight(1.0f, 0.0f);
        for (Buffer* const buffer : {&inpData, &inpGrad}) {
            for (float& value : *buffer) {
                value = 2.0f * sharedRandom().drawUniform() - 1.0f;
            }
        }
        ensemble.prepareTile(tile, samples, true);
        tile.inpData = inpData.data();
        tile.outData = outData.data();
        tile.inpGrad = inpGrad.data();
        ensemble.goForward(tile, true);
        ensemble.goBackward(tile);
    }

    void goAlongDirection() { NNSecondDeriver(&ensemble, &tile).updateWeightGrads(true, nullptr, grads); }

    NNEnsemble ensemble;
    EnsembleTile tile;
    Buffer inpData;
    Buffer outData;
    Buffer inpGrad;
    EnsembleGrads grads;
};

// The plain algorithm for one model: forward and backward recursions for each input node.
class LoopOverInputs {
public:
    explicit LoopOverInputs(Case& ofCase)
        : data(ofCase), inputs(static_cast<std::size_t>(ofCase.ensemble.getNumInp())),
          samples(ofCase.tile.numSamples), coef(samples), tangent0(samples * numNodes),
          tangent1(samples * numNodes), out0(samples * numNodes), out1(samples * numNodes),
          mixed0(samples * numNodes), mixed1(samples * numNodes), work(samples * numNodes),
          scaledInp(samples * inputs), scaledOut(samples * numNodes), scaledTangent(samples * numNodes) {}

    void go() {
        for (std::size_t g = 0; g < inputs; ++g) {
            cblas_scopy(static_cast<blasint>(samples), data.inpGrad.data() + g, static_cast<blasint>(inputs),
                        coef.data(), 1);
            goForward(g);
            goBackward();
            accumulate(g);
        }
    }

private:
    void goForward(std::size_t g) {
        const auto& layers = data.ensemble.getInterLayers();
        const std::span<const float> weight0 = layers[0].weightOf(0);
        for (std::size_t s = 0; s < samples; ++s) {
            for (std::size_t o = 0; o < numNodes; ++o) {
                tangent0[s * numNodes + o] = weight0[o * inputs + g];
            }
        }
        product(tangent0, data.tile.layers[0].drv1.data(), out0);
        multiplyByTransposed(samples, numNodes, numNodes, {out0.data(), numNodes},
                             {layers[1].weightOf(0).data(), numNodes}, {tangent1.data(), numNodes},
                             Store::replace);
        product(tangent1, data.tile.layers[1].drv1.data(), out1);
    }

    void goBackward() {
        const auto& layers = data.ensemble.getInterLayers();
        // drv2 holds dE/dy f'' after the backward pass, so that the second product of the plain form is
        // spared.
        product(tangent1, data.tile.layers[1].drv2.data(), mixed1);
        multiply(samples, numNodes, numNodes, {mixed1.data(), numNodes},
                 {layers[1].weightOf(0).data(), numNodes}, {work.data(), numNodes}, Store::replace);
        const EnsembleTile::Layer& below = data.tile.layers[0];
        for (std::size_t i = 0; i < work.size(); ++i) {
            mixed0[i] = work[i] * below.drv1[i] + below.drv2[i] * tangent0[i];
        }
    }

    void accumulate(std::size_t g) {
        scale(data.inpData.data(), inputs, scaledInp);
        scale(data.tile.layers[0].out.data(), numNodes, scaledOut);
        scale(out0.data(), numNodes, scaledTangent);
        auto& grads = data.grads.interLayers;
        addProduct(mixed0.data(), scaledInp.data(), inputs, grads[0]);
        addProduct(mixed1.data(), scaledOut.data(), numNodes, grads[1]);
        addProduct(data.tile.layers[1].grad.data(), scaledTangent.data(), numNodes, grads[1]);
        cblas_sgemv(CblasRowMajor, CblasTrans, static_cast<blasint>(samples), static_cast<blasint>(numNodes),
                    1.0f, data.tile.layers[0].grad.data(), static_cast<blasint>(numNodes), coef.data(), 1,
                    1.0f, grads[0].weight.data() + g, static_cast<blasint>(inputs));
        for (const auto& [mixed, grad] : {std::pair{&mixed0, &grads[0]}, std::pair{&mixed1, &grads[1]}}) {
            cblas_sgemv(CblasRowMajor, CblasTrans, static_cast<blasint>(samples),
                        static_cast<blasint>(numNodes), 1.0f, mixed->data(), static_cast<blasint>(numNodes),
                        coef.data(), 1, 1.0f, grad->bias.data(), 1);
        }
    }

    void product(const Buffer& a, const float* b, Buffer& result) const {
        for (std::size_t i = 0; i < result.size(); ++i) {
            result[i] = a[i] * b[i];
        }
    }

    void scale(const float* rows, std::size_t rowLength, Buffer& result) const {
        for (std::size_t s = 0; s < samples; ++s) {
            for (std::size_t i = 0; i < rowLength; ++i) {
                result[s * rowLength + i] = coef[s] * rows[s * rowLength + i];
            }
        }
    }

    void addProduct(const float* a, const float* b, std::size_t columns, NNLayerGrads& grad) const {
        multiplyTransposed(numNodes, columns, samples, {a, numNodes}, {b, columns},
                           {grad.weight.data(), columns}, Store::add);
    }

    Case& data;
    std::size_t inputs;
    std::size_t samples;
    Buffer coef;
    Buffer tangent0;
    Buffer tangent1;
    Buffer out0;
    Buffer out1;
    Buffer mixed0;
    Buffer mixed1;
    Buffer work;
    Buffer scaledInp;
    Buffer scaledOut;
    Buffer scaledTangent;
};

// Arguments: inputs, samples.
void exactForceGradient(benchmark::State& state) {
    openblas_set_num_threads(1);
    Case data(static_cast<std::size_t>(state.range(0)), static_cast<std::size_t>(state.range(1)), 1);
    for (auto _ : state) {
        data.goAlongDirection();
    }
    state.counters["samples/s"] = benchmark::Counter(static_cast<double>(state.range(1)),
                                                     benchmark::Counter::kIsIterationInvariantRate);
    LoopOverInputs loop(data);
    state.counters["loop/this"] = bench::medianRatio([&] { loop.go(); }, [&] { data.goAlongDirection(); });
}
BENCHMARK(exactForceGradient)
    ->ArgNames({"inputs", "samples"})
    ->Args({80, 96})
    ->Args({80, 1024})
    ->Args({20, 1024})
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
