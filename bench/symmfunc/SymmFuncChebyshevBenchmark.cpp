// The Chebyshev descriptor of one atom with 72 neighbours, 50 radial and 30 angular orders. Each run times
// three things in turn, so that all of them meet the same machine:
//     ours             SymmFuncChebyshev::calculate (the time that is reported)
//     sine and cosine  a bare loop of as many vector sine and cosine calls as the descriptor has vectors of
//     orders plain            the plain algorithm
// Counters: the shortest times, "ours/trig", our time divided by that of the bare loop, and "plain/ours", the
// gain over the plain algorithm.
#include "symmfunc/BenchCluster.hpp"
#include "symmfunc/PlainChebyshev.hpp"
#include "symmfunc/TrigonometryLoop.hpp"
#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace melta::bench {
namespace {

constexpr int numRadius = 50;
constexpr int numAngle = 30;

// Arguments: numElems, elemWeight, withDiff.
void runChebyshev(benchmark::State& state) {
    const auto numElems = static_cast<int>(state.range(0));
    const bool elemWeight = state.range(1) != 0;
    const bool withDiff = state.range(2) != 0;
    std::vector<std::unique_ptr<Geometry>> clusters;
    for (unsigned seed = 0; seed < 8; ++seed) {
        clusters.push_back(makeCluster(numElems, 20240 + seed));
    }
    const SymmFuncChebyshev ours(numElems, true, elemWeight, numRadius, numAngle, rcut, rcut);
    const PlainChebyshev plain{numElems, elemWeight, numRadius, numAngle, rcut};
    const auto numBasis = static_cast<std::size_t>(ours.getNumBasis());
    std::vector<float> values(numBasis);
    std::vector<float> derivatives(withDiff ? 3 * (numNeighbors + 1) * numBasis : 0);
    const std::size_t numPairs = numNeighbors * (numNeighbors - 1) / 2;
    const std::size_t numVectors = numNeighbors * countVectors(numRadius) + numPairs * countVectors(numAngle);

    Stopwatch oursWatch;
    Stopwatch trigWatch;
    Stopwatch plainWatch;
    std::size_t turn = 0;
    for (auto _ : state) {
        const Geometry& cluster = *clusters[turn % clusters.size()];
        state.SetIterationTime(oursWatch.time([&] {
            ours.calculate(cluster, 0, values, derivatives);
            benchmark::DoNotOptimize(values.data());
            benchmark::ClobberMemory();
        }));
        trigWatch.time([&] { benchmark::DoNotOptimize(evaluateTrigonometry(numVectors)); });
        if (turn % 16 == 0) {
            plainWatch.time([&] {
                plain.calculate(cluster, 0, values, derivatives);
                benchmark::DoNotOptimize(values.data());
                benchmark::ClobberMemory();
            });
        }
        ++turn;
    }
    state.counters["ours/trig"] = oursWatch.shortest() / trigWatch.shortest();
    state.counters["plain/ours"] = plainWatch.shortest() / oursWatch.shortest();
    state.counters["ours_us"] = 1.0e6 * oursWatch.shortest();
    state.counters["trig_us"] = 1.0e6 * trigWatch.shortest();
    state.counters["plain_us"] = 1.0e6 * plainWatch.shortest();
}

BENCHMARK(runChebyshev)
    ->ArgNames({"elements", "weighted", "derivatives"})
    ->Args({1, 1, 1})
    ->Args({1, 1, 0})
    ->Args({1, 0, 1})
    ->Args({2, 0, 1})
    ->Args({3, 0, 1})
    ->Args({3, 0, 0})
    ->UseManualTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace melta::bench

BENCHMARK_MAIN();
