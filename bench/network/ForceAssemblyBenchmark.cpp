// Force assembly of training: forces of all models of an atom from its descriptor derivatives, and the way
// back from force errors. Compared with one matrix-vector product for each model, which reads the derivatives
// anew each time, and with merely reading the same bytes once.

#include "base/AlignedBuffer.hpp"
#include "network/ForceKernels.hpp"
#include "support/PairedTiming.hpp"

#include <benchmark/benchmark.h>
#include <cblas.h>

#include <random>
#include <vector>

namespace {

using namespace melta;

// Enough atoms to leave the caches, as in a training run.
constexpr std::size_t numAtoms = 400;

struct Assembly {
    Assembly(std::size_t models, std::size_t neighbors, std::size_t basis)
        : numModels(models), numRows(3 * (neighbors + 1)), numBasis(basis),
          lanes(kernels::roundUpToLanes(models)), symmDiff(numAtoms * numRows * numBasis),
          grads(numAtoms * numModels * numBasis), columns(numBasis * lanes), rows(numRows * lanes),
          plainRows(numModels * numRows), forces(3 * numAtoms * lanes) {
        std::mt19937 random(1);
        std::normal_distribution<float> normal;
        for (std::size_t i = 0; i < symmDiff.size(); ++i) {
            symmDiff[i] = normal(random);
        }
        for (std::size_t i = 0; i < grads.size(); ++i) {
            grads[i] = normal(random);
        }
        forces.setZero();
        for (std::size_t n = 0; n < neighbors; ++n) {
            atoms.push_back(static_cast<std::int32_t>(random() % numAtoms));
        }
    }

    const float* diffOf(std::size_t atom) const { return symmDiff.data() + atom * numRows * numBasis; }

    void goTogether() {
        for (std::size_t a = 0; a < numAtoms; ++a) {
            float* const grad = grads.data() + a * numModels * numBasis;
            kernels::multiplyByGrads(numRows, numBasis, numModels, diffOf(a), grad, columns.data(),
                                     rows.data());
            kernels::scatterForces(a, atoms.size(), atoms.data(), 1, lanes, rows.data(), forces.data());
        }
        for (std::size_t a = 0; a < numAtoms; ++a) {
            kernels::gatherForces(a, atoms.size(), atoms.data(), 1, lanes, forces.data(), rows.data());
            kernels::multiplyByRows(numRows, numBasis, numModels, diffOf(a), rows.data(), columns.data(),
                                    grads.data());
        }
    }

    // Both directions with one sgemv for each model.
    void goOneByOne() {
        const auto m = static_cast<blasint>(numRows);
        const auto n = static_cast<blasint>(numBasis);
        for (std::size_t a = 0; a < numAtoms; ++a) {
            for (std::size_t k = 0; k < numModels; ++k) {
                float* const grad = grads.data() + (a * numModels + k) * numBasis;
                float* const row = plainRows.data() + k * numRows;
                cblas_sgemv(CblasRowMajor, CblasNoTrans, m, n, 1.0f, diffOf(a), n, grad, 1, 0.0f, row, 1);
                subtract(row, forces.data() + 3 * k * numAtoms, a);
            }
        }
        for (std::size_t a = 0; a < numAtoms; ++a) {
            for (std::size_t k = 0; k < numModels; ++k) {
                float* const row = plainRows.data() + k * numRows;
                gather(forces.data() + 3 * k * numAtoms, row, a);
                cblas_sgemv(CblasRowMajor, CblasTrans, m, n, 1.0f, diffOf(a), n, row, 1, 0.0f,
                            grads.data() + k * numBasis, 1);
            }
        }
    }

    void readTwice() const {
        float sum = 0.0f;
        for (int round = 0; round < 2; ++round) {
            sum += cblas_sasum(static_cast<blasint>(symmDiff.size()), symmDiff.data(), 1);
        }
        benchmark::DoNotOptimize(sum);
    }

    std::size_t numModels;
    std::size_t numRows;
    std::size_t numBasis;
    std::size_t lanes;
    AlignedBuffer<float> symmDiff;
    AlignedBuffer<float> grads;
    AlignedBuffer<float> columns;
    AlignedBuffer<float> rows;
    AlignedBuffer<float> plainRows;
    AlignedBuffer<float> forces;
    std::vector<std::int32_t> atoms;

private:
    void subtract(const float* row, float* force, std::size_t center) const {
        for (std::size_t c = 0; c < 3; ++c) {
            force[3 * center + c] -= row[c];
        }
        for (std::size_t i = 0; i < atoms.size(); ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                force[3 * static_cast<std::size_t>(atoms[i]) + c] -= row[3 * (i + 1) + c];
            }
        }
    }

    void gather(const float* force, float* row, std::size_t center) const {
        for (std::size_t c = 0; c < 3; ++c) {
            row[c] = -force[3 * center + c];
        }
        for (std::size_t i = 0; i < atoms.size(); ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                row[3 * (i + 1) + c] = -force[3 * static_cast<std::size_t>(atoms[i]) + c];
            }
        }
    }
};

// Arguments: models, neighbours, functions.
void forceAssembly(benchmark::State& state) {
    openblas_set_num_threads(1);
    Assembly assembly(static_cast<std::size_t>(state.range(0)), static_cast<std::size_t>(state.range(1)),
                      static_cast<std::size_t>(state.range(2)));
    for (auto _ : state) {
        assembly.goTogether();
        assembly.forces.setZero();
    }
    state.counters["us_per_atom"] =
        benchmark::Counter(static_cast<double>(numAtoms) * 1.0e-6,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    const auto together = [&] { assembly.goTogether(), assembly.forces.setZero(); };
    const auto oneByOne = [&] { assembly.goOneByOne(), assembly.forces.setZero(); };
    state.counters["sgemv/this"] = bench::medianRatio(oneByOne, together);
    state.counters["this/read"] = 1.0 / bench::medianRatio([&] { assembly.readTwice(); }, together);
}
BENCHMARK(forceAssembly)
    ->ArgNames({"models", "neighbors", "functions"})
    ->Args({16, 72, 80})
    ->Args({16, 26, 80})
    ->Args({4, 72, 80})
    ->Args({1, 72, 80})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
