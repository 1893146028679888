// The many-body descriptor of one atom with 72 neighbours, 100 two-body grid points and several three-body
// grids. Each run times three things in turn, so that all of them meet the same machine:
//     ours   SymmFuncManyBody::calculate (the time that is reported)
//     clear  filling the output arrays with zeros, which any implementation has to do
//     plain  the plain algorithm
// Counters: the shortest times, "ours/clear", our time divided by that of clearing, and "plain/ours", the
// gain over the plain algorithm.
#include "symmfunc/BenchCluster.hpp"
#include "symmfunc/PlainManyBody.hpp"
#include "symmfunc/manybody/SymmFuncManyBody.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace melta::bench {
namespace {

constexpr int m2 = 100;

// Arguments: numElems, m3, withDiff.
void runManyBody(benchmark::State& state) {
    const auto numElems = static_cast<int>(state.range(0));
    const auto m3 = static_cast<int>(state.range(1));
    const bool withDiff = state.range(2) != 0;
    std::vector<std::unique_ptr<Geometry>> clusters;
    for (unsigned seed = 0; seed < 8; ++seed) {
        clusters.push_back(makeCluster(numElems, 20240 + seed));
    }
    const SymmFuncManyBody ours(numElems, false, m2, m3, 0.0f, rcut);
    const PlainManyBody plain{numElems, m2, m3, 0.0f, rcut};
    const auto numBasis = static_cast<std::size_t>(ours.getNumBasis());
    std::vector<float> values(numBasis);
    std::vector<float> derivatives(withDiff ? 3 * (numNeighbors + 1) * numBasis : 0);

    Stopwatch oursWatch;
    Stopwatch clearWatch;
    Stopwatch plainWatch;
    std::size_t turn = 0;
    for (auto _ : state) {
        const Geometry& cluster = *clusters[turn % clusters.size()];
        clearWatch.time([&] {
            std::ranges::fill(values, 0.0f);
            std::ranges::fill(derivatives, 0.0f);
            benchmark::ClobberMemory();
        });
        state.SetIterationTime(oursWatch.time([&] {
            ours.calculate(cluster, 0, values, derivatives);
            benchmark::DoNotOptimize(values.data());
            benchmark::ClobberMemory();
        }));
        if (turn % 8 == 0) {
            plainWatch.time([&] {
                plain.calculate(cluster, 0, values, derivatives);
                benchmark::DoNotOptimize(values.data());
                benchmark::ClobberMemory();
            });
        }
        ++turn;
    }
    state.counters["ours/clear"] = oursWatch.shortest() / clearWatch.shortest();
    state.counters["plain/ours"] = plainWatch.shortest() / oursWatch.shortest();
    state.counters["ours_us"] = 1.0e6 * oursWatch.shortest();
    state.counters["clear_us"] = 1.0e6 * clearWatch.shortest();
    state.counters["plain_us"] = 1.0e6 * plainWatch.shortest();
}

BENCHMARK(runManyBody)
    ->ArgNames({"elements", "m3", "derivatives"})
    ->Args({1, 10, 1})
    ->Args({1, 10, 0})
    ->Args({2, 10, 1})
    ->Args({2, 10, 0})
    ->Args({3, 10, 1})
    ->Args({1, 20, 1})
    ->UseManualTime()
    ->Repetitions(3)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace melta::bench

BENCHMARK_MAIN();
