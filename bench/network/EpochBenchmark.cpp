// A whole training epoch on a small fixed set: 32 silicon-like cells of 64 atoms, exact force gradient, one
// thread and all threads. Prints the gain of the threads.

#include "network/NNArch.hpp"
#include "support/DiamondCell.hpp"
#include "support/PairedTiming.hpp"

#include <benchmark/benchmark.h>
#include <cblas.h>
#include <omp.h>

#include <memory>
#include <random>
#include <vector>

namespace {

using namespace melta;

constexpr int numGeoms = 32;

// A cell of 64 atoms with random forces and a random energy.
std::unique_ptr<Geometry> makeCell(std::mt19937& random) {
    std::normal_distribution<float> normal(0.0f, 0.1f);
    auto geometry = bench::makeDiamondCell(2, random);
    for (float& force : geometry->forces) {
        force = normal(random);
    }
    geometry->energyTotal = static_cast<double>(normal(random));
    return geometry;
}

class Epoch {
public:
    explicit Epoch(int models) : arch(NNArch::onlyEnergy, 1, &settingsFor(models), true, true) {
        std::mt19937 random(1);
        for (int g = 0; g < numGeoms; ++g) {
            set.geometries.push_back(makeCell(random));
            set.geometries.back()->haveSetAtoms(property.rcutRadius, false);
        }
        set.numGeoms = numGeoms;
        set.numElems = 1;
        set.elemNames = {"Si"};
        set.energyDev = {1.0};
        arch.setGeometriesAll(&set);
        arch.initLayers(&set);
        arch.calculateSymmFuncs(true, true, true);
        arch.statisticsSymmFuncs(&set);
        arch.renormalizeSymmFuncs(true);
        arch.setEnergyModeScheme(EnergyModeScheme::exactForce, true);
        setThreads(1);
    }

    void setThreads(int threads) {
        if (arch.getNumGeoms() > 0) {
            arch.clearGeometries();
        }
        omp_set_num_threads(threads);
        std::vector<int> all(numGeoms);
        for (int g = 0; g < numGeoms; ++g) {
            all[static_cast<std::size_t>(g)] = g;
        }
        arch.setGeometries(std::span<const int>(all));
    }

    void go() {
        arch.clearWeightGrads();
        arch.evaluateLoss(NetworkTarget::energy, terms);
        arch.updateLayers(1.0f);
    }

private:
    const Property& settingsFor(int models) {
        property.modelsEnergy = models;
        return property;
    }

    Property property;
    GeometrySet set;
    NNArch arch;
    std::vector<LossTerm> terms{{property.withHDNNP != 0 ? totalEnergy() : atomicEnergy(), {1.0f}, false},
                                {atomicForce(), {1.0f}, false}};
};

// Argument: models.
void trainingEpoch(benchmark::State& state) {
    openblas_set_num_threads(1);
    const int threads = omp_get_num_procs();
    Epoch serial(static_cast<int>(state.range(0)));
    Epoch parallel(static_cast<int>(state.range(0)));
    serial.setThreads(1);
    parallel.setThreads(threads);
    for (auto _ : state) {
        parallel.go();
    }
    state.counters["atoms/s"] =
        benchmark::Counter(64.0 * numGeoms, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["threads"] = threads;
    const auto one = [&] { omp_set_num_threads(1), serial.go(); };
    const auto all = [&] { omp_set_num_threads(threads), parallel.go(); };
    state.counters["one/all threads"] = bench::medianRatio(one, all);
}
BENCHMARK(trainingEpoch)
    ->ArgName("models")
    ->Arg(1)
    ->Arg(4)
    ->Arg(16)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
