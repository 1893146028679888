// Steps of a Monte Carlo walk in silicon-like cells of 64, 216 and 1,000 atoms, with the default settings of
// symmetry functions and networks and a model of random weights: shifts of one atom, half of them refused.
// Prints how many times faster a step is than one that makes everything anew.

#include "modelio/ModelStore.hpp"
#include "network/NNArch.hpp"
#include "potential/ModelRestorer.hpp"
#include "sampling/FullNetworkEnergy.hpp"
#include "sampling/NetworkEnergy.hpp"
#include "support/DiamondCell.hpp"
#include "support/PairedTiming.hpp"
#include "support/TemporaryDirectory.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <vector>

namespace {

using namespace melta;

class Walk {
public:
    Walk(int cubes, int models, bool makesEverythingAnew) {
        property.modelsEnergy = models;
        std::mt19937 cellRandom(1);
        set.geometries.push_back(bench::makeDiamondCell(cubes, cellRandom));
        set.geometries.back()->haveSetAtoms(property.rcutRadius, false);
        set.numGeoms = 1;
        set.numElems = 1;
        set.elemNames = {"Si"};
        set.elemAtomNumbers = {14};
        set.energyAve = {0.0};
        set.energyDev = {1.0};
        makeModel();
        Geometry& geometry = set.getGeometry(0);
        if (makesEverythingAnew) {
            energy =
                std::make_unique<test::FullNetworkEnergy>(*model, nullptr, geometry, property.rcutRadius);
        } else {
            energy = std::make_unique<NetworkEnergy>(*model, nullptr, geometry, property.rcutRadius);
        }
        energy->start();
    }

    void step() {
        std::vector<float>& positions = set.getGeometry(0).positions;
        const auto atom = random() % (positions.size() / 3);
        const auto place = positions.begin() + static_cast<std::ptrdiff_t>(3 * atom);
        std::copy_n(place, 3, kept.begin());
        for (std::ptrdiff_t c = 0; c < 3; ++c) {
            place[c] += drawStep(random);
        }
        const int moved[] = {static_cast<int>(atom)};
        benchmark::DoNotOptimize(energy->evaluateMove(moved));
        benchmark::DoNotOptimize(energy->isUnknown());
        if (++numSteps % 2 == 0) {
            energy->acceptMove();
        } else {
            std::copy(kept.begin(), kept.end(), place);
            energy->rejectMove();
        }
    }

private:
    void makeModel() {
        const test::TemporaryDirectory directory;
        NNArch arch(NNArch::onlyEnergy, 1, &property, false, false);
        arch.initLayers(&set);
        arch.statisticsSymmFuncs(&set);
        arch.writeSymmDistributions(directory.file("melta.gdist"), &set);
        storeNN(arch, directory.file("melta.data"), &set);
        model = restoreModel(property, set, directory.file("melta.data"), false);
        restoreHistograms(*model, set, directory.file("melta.gdist"));
    }

    Property property;
    GeometrySet set;
    std::unique_ptr<ModelData> model;
    std::unique_ptr<ConfigurationEnergy> energy;
    std::mt19937 random{2};
    std::uniform_real_distribution<float> drawStep{-0.1f, 0.1f};
    std::array<float, 3> kept{};
    int numSteps = 0;
};

void metropolisStep(benchmark::State& state) {
    const auto cubes = static_cast<int>(state.range(0));
    const auto models = static_cast<int>(state.range(1));
    Walk walk(cubes, models, false);
    Walk plainWalk(cubes, models, true);
    for (auto _ : state) {
        walk.step();
    }
    state.counters["atoms"] = 8.0 * cubes * cubes * cubes;
    state.counters["steps/s"] = benchmark::Counter(1.0, benchmark::Counter::kIsIterationInvariantRate);
    const auto repeat = [](Walk& which) {
        for (int i = 0; i < 20; ++i) {
            which.step();
        }
    };
    state.counters["anew/kept"] = bench::medianRatio([&] { repeat(plainWalk); }, [&] { repeat(walk); });
}
BENCHMARK(metropolisStep)
    ->ArgNames({"cubes", "models"})
    ->ArgsProduct({{2, 3, 5}, {1, 16}})
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
