// The trained potential as a host evaluates it: a silicon-like cell with 34 neighbours an atom, Chebyshev or
// cluster functions and 2 x 40 nodes, on one thread, lists excluded. Beside it, in the same run, the passes
// that keep all derivatives.

#include "base/RandomSource.hpp"
#include "config/SymmFuncKind.hpp"
#include "melta/PeriodicView.hpp"
#include "melta/Potential.hpp"
#include "modelio/ModelStore.hpp"
#include "network/NNArch.hpp"
#include "support/DiamondCell.hpp"
#include "support/PairedTiming.hpp"
#include "support/TemporaryDirectory.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"

#include <benchmark/benchmark.h>
#include <cblas.h>
#include <omp.h>

#include <memory>
#include <random>

namespace {

using namespace melta;

constexpr float cutoff = 5.45f; // Angstrom

Property makeChebyshevSettings(int numRadius, int numAngle) {
    Property property;
    property.numRadius = numRadius;
    property.numAngle = numAngle;
    property.rcutRadius = cutoff;
    property.rcutAngle = cutoff;
    return property;
}

Property makeClusterSettings() {
    Property property;
    property.symmFuncKind = ClusterKind::code;
    property.storeDerivatives = 1; // by the passes beside
    const SymmFuncKind& kind = symmFuncKindOf(property);
    kind.setDefaults(property);
    kind.fitToElements(property, 1);
    property.rcutRadius = cutoff;
    return property;
}

class Cell {
public:
    // `cubes`: cubes of 8 atoms along each side.
    Cell(const Property& settings, int cubes)
        : property(settings), arch(NNArch::onlyEnergy, 1, &property, false, false) {
        std::mt19937 random(1);
        set.geometries.push_back(bench::makeDiamondCell(cubes, random));
        set.geometries.front()->haveSetAtoms(cutoff, false);
        set.numGeoms = 1;
        set.numElems = 1;
        set.elemNames = {"Si"};
        set.elemAtomNumbers = {14};
        set.energyDev = {1.0};
        set.energyAve = {0.0};
        sharedRandom().seed(1);
        arch.initLayers(&set);
        arch.statisticsSymmFuncs(&set);
        storeNN(arch, directory.file("melta.data"), &set);
        potential = std::make_unique<Potential>(Potential::load(directory.path()));
        const Geometry& geometry = *set.geometries.front();
        view = std::make_unique<PeriodicView>(
            std::vector<double>(geometry.lattice.begin(), geometry.lattice.end()),
            std::vector<double>(geometry.positions.begin(), geometry.positions.end()),
            std::vector<int>(geometry.elements.begin(), geometry.elements.end()), potential->cutoff());
    }

    [[nodiscard]] int numAtoms() const { return view->view().numLocal; }

    void evaluate(Wishes wishes) {
        potential->evaluate(view->view(), wishes, result, workspace);
        benchmark::DoNotOptimize(result.energy);
    }

    void evaluateStored() {
        Geometry* const batch[] = {set.geometries.front().get()};
        arch.prepareBatch(batch, Derivatives::yes);
        arch.goBackwardOnForce();
        arch.clearGeometries();
    }

private:
    test::TemporaryDirectory directory;
    Property property;
    GeometrySet set;
    NNArch arch;
    std::unique_ptr<Potential> potential;
    std::unique_ptr<PeriodicView> view;
    Potential::Workspace workspace;
    Evaluation result;
};

void evaluate(benchmark::State& state, Property property) {
    openblas_set_num_threads(1);
    omp_set_num_threads(1);
    property.modelsEnergy = static_cast<int>(state.range(0));
    Cell cell(property, static_cast<int>(state.range(1)));
    const Wishes wishes =
        Wish::energy | Wish::forces | (state.range(2) != 0 ? Wishes(Wish::modelForces) : Wishes());
    for (auto _ : state) {
        cell.evaluate(wishes);
    }
    state.counters["s/atom"] =
        benchmark::Counter(static_cast<double>(cell.numAtoms()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["stored/this"] =
        bench::medianRatio([&] { cell.evaluateStored(); }, [&] { cell.evaluate(wishes); });
}

// Arguments: models, cubes along each side of the cell, 1 for the forces of each model.
void evaluation(benchmark::State& state) {
    evaluate(state, makeChebyshevSettings(20, 20));
}
BENCHMARK(evaluation)
    ->ArgNames({"models", "cubes", "each"})
    ->Args({1, 4, 0})
    ->Args({16, 4, 0})
    ->Args({16, 4, 1})
    ->Args({16, 8, 0})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// The same for the functions of a model whose settings nobody has touched.
void defaultModel(benchmark::State& state) {
    evaluate(state, makeChebyshevSettings(50, 30));
}
BENCHMARK(defaultModel)
    ->ArgNames({"models", "cubes", "each"})
    ->Args({16, 4, 0})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// 104 functions.
void clusterModel(benchmark::State& state) {
    evaluate(state, makeClusterSettings());
}
BENCHMARK(clusterModel)
    ->ArgNames({"models", "cubes", "each"})
    ->Args({1, 4, 0})
    ->Args({16, 4, 0})
    ->Args({16, 4, 1})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
