// The cluster functions of one atom with 34 neighbours, eight radial functions, degree 4 and 9 triples: 104
// functions of one element, 240 of two. Each run times three things in turn, so that all of them meet the
// same machine:
//     values     calculateAtom without derivatives
//     gradient   calculateGradient (the time that is reported)
//     chebyshev  calculateGradient of 20 radial and 20 angular Chebyshev functions
// Counters: the shortest times, and "chebyshev/ours", of the two gradients.
//
// runColumns is about several columns of such an atom, as the models of an ensemble make them:
//     gradients  calculateGradients (the time that is reported)
//     tangents   calculateTangents
//     singles    calculateGradient for each column
// Counters: the shortest times, and "singles/ours", of the gradients.
#include "structure/NeighborArrays.hpp"
#include "symmfunc/BenchCluster.hpp"
#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"
#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace melta::bench {
namespace {

// Clusters with 72 neighbours inside 6 Angstrom at even density have about 34 of them inside this.
constexpr float rcutOfThirtyFour = 4.6f;

// Derivatives by the values of some function.
std::vector<float> makeSlopes(const SymmFunc& symmFunc) {
    std::vector<float> slopes;
    for (int b = 0; b < symmFunc.getNumBasis(); ++b) {
        slopes.push_back(std::sin(static_cast<float>(1 + b)));
    }
    return slopes;
}

// Arguments: numElems, channels, bodyOrder.
void runCluster(benchmark::State& state) {
    const auto numElems = static_cast<int>(state.range(0));
    const ClusterSettings sizes{.bodyOrder = static_cast<int>(state.range(2)),
                                .rcutRadius = rcutOfThirtyFour};
    const SymmFuncCluster ours(
        numElems, true, sizes,
        SymmFuncCluster::makeChannelWeights(numElems, static_cast<int>(state.range(1))));
    const SymmFuncChebyshev chebyshev(numElems, true, true, 20, 20, rcutOfThirtyFour, rcutOfThirtyFour);
    std::vector<NeighborArrays> atoms(8);
    double inside = 0.0;
    for (unsigned seed = 0; seed < atoms.size(); ++seed) {
        atoms[seed].update(*makeCluster(numElems, 20240 + seed), 0);
        for (std::size_t n = 0; n < atoms[seed].size(); ++n) {
            inside += atoms[seed].r()[n] < rcutOfThirtyFour ? 0.125 : 0.0;
        }
    }
    const std::vector<float> slopes = makeSlopes(ours);
    const std::vector<float> chebyshevSlopes = makeSlopes(chebyshev);
    std::vector<float> values(slopes.size());
    std::vector<float> byPositions(3 * numNeighbors);
    const std::vector<float> directions(3 * numNeighbors, 0.5f);
    std::vector<float> derivatives(3 * (numNeighbors + 1) * slopes.size());

    Stopwatch valueWatch;
    Stopwatch gradientWatch;
    Stopwatch tangentWatch;
    Stopwatch derivativeWatch;
    Stopwatch chebyshevWatch;
    std::size_t turn = 0;
    for (auto _ : state) {
        const NeighborArrays& neighbors = atoms[turn++ % atoms.size()];
        valueWatch.time([&] {
            ours.calculateAtom(neighbors, values, {});
            benchmark::DoNotOptimize(values.data());
            benchmark::ClobberMemory();
        });
        state.SetIterationTime(gradientWatch.time([&] {
            ours.calculateGradient(neighbors, slopes, byPositions);
            benchmark::DoNotOptimize(byPositions.data());
            benchmark::ClobberMemory();
        }));
        tangentWatch.time([&] {
            ours.calculateTangent(neighbors, directions, values);
            benchmark::DoNotOptimize(values.data());
            benchmark::ClobberMemory();
        });
        if (turn % 16 == 0) {
            derivativeWatch.time([&] {
                ours.calculateAtom(neighbors, values, derivatives);
                benchmark::DoNotOptimize(derivatives.data());
                benchmark::ClobberMemory();
            });
        }
        chebyshevWatch.time([&] {
            chebyshev.calculateGradient(neighbors, chebyshevSlopes, byPositions);
            benchmark::DoNotOptimize(byPositions.data());
            benchmark::ClobberMemory();
        });
    }
    state.counters["neighbors"] = inside;
    state.counters["functions"] = static_cast<double>(slopes.size());
    state.counters["values_us"] = 1.0e6 * valueWatch.shortest();
    state.counters["gradient_us"] = 1.0e6 * gradientWatch.shortest();
    state.counters["tangent_us"] = 1.0e6 * tangentWatch.shortest();
    state.counters["derivatives_us"] = 1.0e6 * derivativeWatch.shortest();
    state.counters["chebyshev/ours"] = chebyshevWatch.shortest() / gradientWatch.shortest();
}

// Arguments: columns, numElems.
void runColumns(benchmark::State& state) {
    const auto numColumns = static_cast<std::size_t>(state.range(0));
    const auto numElems = static_cast<int>(state.range(1));
    const SymmFuncCluster ours(numElems, true, {.rcutRadius = rcutOfThirtyFour},
                               SymmFuncCluster::makeChannelWeights(numElems, numElems));
    std::vector<NeighborArrays> atoms(8);
    for (unsigned seed = 0; seed < atoms.size(); ++seed) {
        atoms[seed].update(*makeCluster(numElems, 20240 + seed), 0);
    }
    const std::vector<float> slopes = makeSlopes(ours);
    std::vector<float> columns;
    for (std::size_t column = 0; column < numColumns; ++column) {
        columns.insert(columns.end(), slopes.begin(), slopes.end());
    }
    const std::size_t length = 3 * numNeighbors;
    std::vector<float> positions(numColumns * length, 0.5f);
    std::vector<float> changes(columns.size());

    Stopwatch gradientWatch;
    Stopwatch tangentWatch;
    Stopwatch singleWatch;
    std::size_t turn = 0;
    for (auto _ : state) {
        const NeighborArrays& neighbors = atoms[turn++ % atoms.size()];
        tangentWatch.time([&] {
            ours.calculateTangents(neighbors, positions, changes);
            benchmark::DoNotOptimize(changes.data());
            benchmark::ClobberMemory();
        });
        singleWatch.time([&] {
            for (std::size_t column = 0; column < numColumns; ++column) {
                ours.calculateGradient(neighbors, slopes,
                                       std::span(positions).subspan(column * length, length));
            }
            benchmark::DoNotOptimize(positions.data());
            benchmark::ClobberMemory();
        });
        state.SetIterationTime(gradientWatch.time([&] {
            ours.calculateGradients(neighbors, columns, positions);
            benchmark::DoNotOptimize(positions.data());
            benchmark::ClobberMemory();
        }));
    }
    state.counters["gradients_us"] = 1.0e6 * gradientWatch.shortest();
    state.counters["tangents_us"] = 1.0e6 * tangentWatch.shortest();
    state.counters["singles/ours"] = singleWatch.shortest() / gradientWatch.shortest();
}

BENCHMARK(runCluster)
    ->ArgNames({"elements", "channels", "bodyOrder"})
    ->Args({1, 1, 2})
    ->Args({1, 1, 3})
    ->Args({1, 1, 4})
    ->Args({2, 2, 4})
    ->Args({4, 2, 4})
    ->UseManualTime()
    ->Repetitions(3)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMicrosecond);

BENCHMARK(runColumns)
    ->ArgNames({"columns", "elements"})
    ->ArgsProduct({{1, 2, 3, 4, 8, 16}, {1, 2}})
    ->UseManualTime()
    ->Repetitions(3)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace melta::bench

BENCHMARK_MAIN();
