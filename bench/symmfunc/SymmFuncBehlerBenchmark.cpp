// The Behler descriptor of one atom with 72 neighbours, 50 radial and 15 or 40 angular parameter sets. Each
// run times in turn, so that all meet the same machine:
//     ours    SymmFuncBehler::calculate (the time that is reported)
//     clear   filling the output arrays with zeros, which any implementation has to do
//     plain   the plain algorithm
// Counters: the shortest times, "ours/clear", our time divided by that of clearing, and "plain/ours", the
// gain over the plain algorithm; "error", the largest difference of the two algorithms' values relative to
// the largest value.
#include "base/FloatControl.hpp"
#include "symmfunc/BenchCluster.hpp"
#include "symmfunc/PlainBehler.hpp"
#include "symmfunc/behler/SymmFuncBehler.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace melta::bench {
namespace {

constexpr int numRadius = 50;

// Radial Gaussians side by side, and angular ones of several widths and exponents, as they are in use.
PlainBehler makePlain(int numElems, bool elemWeight, bool behlerG4, int numAngle) {
    PlainBehler plain{numElems, elemWeight, behlerG4, rcut, {}, {}, {}, {}, {}};
    const float step = (rcut - 1.0f) / (numRadius - 1);
    for (int i = 0; i < numRadius; ++i) {
        plain.radiusEta.push_back(0.5f / (step * step));
        plain.radiusShift.push_back(0.5f + step * static_cast<float>(i));
    }
    for (int i = 0; i < numAngle; ++i) {
        const float width = 1.0f + 4.5f * static_cast<float>(i) / static_cast<float>(numAngle);
        plain.angleEta.push_back(0.5f / (width * width));
        plain.angleZeta.push_back(static_cast<float>(1 << i % 5));
        plain.angleShift.push_back(i % 3 == 0 ? 1.0f : 0.0f);
    }
    return plain;
}

std::unique_ptr<SymmFuncBehler> makeOurs(const PlainBehler& plain) {
    auto ours = std::make_unique<SymmFuncBehler>(plain.numElems, true, plain.elemWeight, numRadius,
                                                 static_cast<int>(plain.angleEta.size()), rcut, rcut);
    ours->radiusEta = plain.radiusEta;
    ours->radiusShift = plain.radiusShift;
    ours->behlerG4 = plain.behlerG4;
    ours->angleEta = plain.angleEta;
    ours->angleZeta = plain.angleZeta;
    ours->angleShift = plain.angleShift;
    return ours;
}

float largestDifference(const std::vector<float>& ours, const std::vector<float>& plain) {
    float difference = 0.0f;
    float size = 0.0f;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        difference = std::max(difference, std::fabs(ours[i] - plain[i]));
        size = std::max(size, std::fabs(plain[i]));
    }
    return difference / size;
}

// Arguments: behlerG4, numElems, elemWeight, numAngle, withDiff.
void runBehler(benchmark::State& state) {
    const auto numElems = static_cast<int>(state.range(1));
    const bool withDiff = state.range(4) != 0;
    const PlainBehler plain =
        makePlain(numElems, state.range(2) != 0, state.range(0) != 0, static_cast<int>(state.range(3)));
    const auto ours = makeOurs(plain);
    std::vector<std::unique_ptr<Geometry>> clusters;
    for (unsigned seed = 0; seed < 8; ++seed) {
        clusters.push_back(makeCluster(numElems, 20240 + seed));
    }
    const auto numBasis = static_cast<std::size_t>(ours->getNumBasis());
    std::vector<float> values(numBasis), plainValues(numBasis);
    std::vector<float> derivatives(withDiff ? 3 * (numNeighbors + 1) * numBasis : 0);
    flushDenormals();

    Stopwatch oursWatch, clearWatch, plainWatch;
    float error = 0.0f;
    std::size_t turn = 0;
    for (auto _ : state) {
        const Geometry& cluster = *clusters[turn % clusters.size()];
        clearWatch.time([&] {
            std::ranges::fill(values, 0.0f);
            std::ranges::fill(derivatives, 0.0f);
            benchmark::ClobberMemory();
        });
        state.SetIterationTime(oursWatch.time([&] {
            ours->calculate(cluster, 0, values, derivatives);
            benchmark::DoNotOptimize(values.data());
            benchmark::ClobberMemory();
        }));
        if (turn % 16 == 0) {
            plainWatch.time([&] {
                plain.calculate(cluster, 0, plainValues, derivatives);
                benchmark::DoNotOptimize(plainValues.data());
                benchmark::ClobberMemory();
            });
            error = std::max(error, largestDifference(values, plainValues));
        }
        ++turn;
    }
    state.counters["ours/clear"] = oursWatch.shortest() / clearWatch.shortest();
    state.counters["plain/ours"] = plainWatch.shortest() / oursWatch.shortest();
    state.counters["ours_us"] = 1.0e6 * oursWatch.shortest();
    state.counters["plain_us"] = 1.0e6 * plainWatch.shortest();
    state.counters["error"] = static_cast<double>(error);
}

BENCHMARK(runBehler)
    ->ArgNames({"G4", "elements", "weighted", "angular", "derivatives"})
    ->ArgsProduct({{0, 1}, {1}, {1}, {15, 40}, {1}})
    ->ArgsProduct({{0, 1}, {1}, {1}, {15}, {0}})
    ->ArgsProduct({{0, 1}, {3}, {0}, {15}, {1}})
    ->UseManualTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace melta::bench

BENCHMARK_MAIN();
