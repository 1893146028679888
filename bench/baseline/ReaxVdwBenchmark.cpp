// The van der Waals term of ReaxFF with forces, for 300 atoms of C, H, O and Fe at 0.1 atoms per cubic
// Angstrom with a cutoff of 10 Angstrom. The time is that of the whole term: shells, kernel, sums. Counters,
// measured in turn with it:
//     plain/this         the plain loop over both directions of all pairs, with std::exp and std::pow
//     plainHalf/this     the same loop over each pair once
//     this/kernel        the kernel alone over as many pairs
//     evaluation/this    a whole evaluation of the potential, without the search of neighbours
//     search/this        the search of neighbours
#include "base/LineReader.hpp"
#include "baseline/reax/ReaxEvaluation.hpp"
#include "baseline/reax/ReaxFieldText.hpp"
#include "baseline/reax/ReaxParam.hpp"
#include "baseline/reax/ReaxShell.hpp"
#include "baseline/reax/ReaxVdw.hpp"
#include "structure/Geometry.hpp"
#include "support/PairedTiming.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace melta::bench {
namespace {

constexpr int numAtoms = 300;
constexpr float edge = 14.42f;
constexpr float rcut = 10.0f;

std::unique_ptr<ReaxParam> makeParam(bool withShielding, bool withInnerWall) {
    test::ReaxFieldText field = test::makeReaxField();
    field.general[12] = static_cast<double>(rcut);
    field.atoms[0].lines[1][1] = withShielding ? 2.1 : 0.0;
    field.atoms[0].lines[3][5] = withInnerWall ? 1.4 : 0.0;
    const auto path = std::filesystem::temp_directory_path() / "melta_reax_vdw_benchmark";
    FilePointer file = openForWriting(path.string());
    std::fputs(field.makeText().c_str(), file.get());
    closeWritten(std::move(file), path.string());
    auto param = std::make_unique<ReaxParam>(5.0, path.string());
    std::filesystem::remove(path);
    return param;
}

// Atoms at random near the points of a lattice, so that none come too close.
std::unique_ptr<Geometry> makeGeometry() {
    constexpr std::array<int, 4> atomicNumbers{6, 1, 8, 26};
    constexpr int numCells = 7;
    std::mt19937 random(11);
    std::uniform_real_distribution<float> shift(-0.4f, 0.4f);
    const std::array<float, 9> lattice{edge, 0.0f, 0.0f, 0.0f, edge, 0.0f, 0.0f, 0.0f, edge};
    auto geometry = std::make_unique<Geometry>(lattice, numAtoms, false);
    for (int i = 0; i < numAtoms; ++i) {
        const auto place = [&](int cell) {
            return (static_cast<float>(cell) + 0.5f) * edge / numCells + shift(random);
        };
        const float x = place(i % numCells);
        const float y = place(i / numCells % numCells);
        const float z = place(i / (numCells * numCells));
        geometry->setAtom(i, 0, atomicNumbers[static_cast<std::size_t>(random() % 4)], x, y, z, 0.0f, 0.0f,
                          0.0f, 0.0, 0.0f);
    }
    geometry->haveSetAtoms(rcut, false);
    return geometry;
}

struct Bench {
    Bench(bool withShielding, bool withInnerWall)
        : param(makeParam(withShielding, withInnerWall)), geometry(makeGeometry()),
          positions(geometry->positions.begin(), geometry->positions.end()), vdw(*param), evaluation(*param),
          energies(numAtoms), forces(3 * static_cast<std::size_t>(numAtoms)), weights(numAtoms, 1.0) {
        for (const int atomicNumber : geometry->atomNumbers) {
            types.push_back(param->typeOf(atomicNumber));
        }
    }

    void goTogether() {
        shells.start(geometry->allNeighbors(), geometry->lattice, types, param->numElems, positions);
        vdw.prepare();
        for (int i = 0; i < numAtoms; ++i) {
            vdw.add(shells.create(i, static_cast<double>(rcut)), weights, energies, forces, {});
        }
        benchmark::DoNotOptimize(forces.data());
    }

    void goThroughEvaluation() {
        evaluation.run(geometry->allNeighbors(), geometry->lattice, types, positions, true);
        benchmark::DoNotOptimize(evaluation.forces().data());
    }

    // As many pairs in runs of the usual length, with distances that are at hand.
    void goKernel() {
        constexpr std::size_t length = 48;
        static AlignedBuffer<double> r(length);
        static AlignedBuffer<double> results(2 * length);
        for (std::size_t n = 0; n < length; ++n) {
            r[n] = 1.0 + 0.18 * static_cast<double>(n);
        }
        const ReaxVdwForm form{param->taper, param->pVdw1};
        const ReaxVdwPair pair{0.1, 5.0, 1.3, 0.3, 0.1, 10.0, 7.0};
        const auto kernel = selectReaxVdwKernel(param->withShielding, param->withInnerWall);
        const std::size_t count = numPairs();
        for (std::size_t n = 0; n < count; n += length) {
            kernel({length, r.data(), results.data(), results.data() + length}, form, pair);
            benchmark::DoNotOptimize(results.data());
        }
    }

    [[nodiscard]] std::size_t numPairs() const {
        std::size_t sum = 0;
        for (int i = 0; i < numAtoms; ++i) {
            sum += geometry->getNeighbors(i).size();
        }
        return sum / 2;
    }

    void goPlain(bool isHalf) {
        for (int i = 0; i < numAtoms; ++i) {
            const auto center = static_cast<std::size_t>(i);
            double sum = 0.0;
            for (const Neighbor& neighbor : geometry->getNeighbors(i)) {
                if (!isHalf || neighbor.atom > i) {
                    sum += addPlainly(center, neighbor);
                }
            }
            energies[center] += 0.5 * sum;
        }
        benchmark::DoNotOptimize(forces.data());
    }

    // One direction of one pair: its force on the first atom, and its energy.
    double addPlainly(std::size_t i, const Neighbor& neighbor) {
        const auto j = static_cast<std::size_t>(neighbor.atom);
        const std::array<float, 3> image = geometry->computeNeighborPosition(neighbor);
        const double dx = static_cast<double>(image[0]) - positions[3 * i];
        const double dy = static_cast<double>(image[1]) - positions[3 * i + 1];
        const double dz = static_cast<double>(image[2]) - positions[3 * i + 2];
        const double r = std::sqrt(dx * dx + dy * dy + dz * dz);
        const std::size_t pair = param->pairIndex(types[i], types[j]);
        std::array<double, 8> powers{1.0};
        double taper = param->taper[0];
        double taperSlope = 0.0;
        for (std::size_t k = 1; k < 8; ++k) {
            taperSlope += static_cast<double>(k) * param->taper[k] * powers[k - 1];
            powers[k] = powers[k - 1] * r;
            taper += param->taper[k] * powers[k];
        }
        double f = r;
        double df = 1.0;
        if (param->withShielding) {
            const double p = param->pVdw1;
            f = std::pow(std::pow(r, p) + std::pow(1.0 / param->pairGammaW[pair], p), 1.0 / p);
            df = std::pow(r, p - 1.0) * std::pow(f, 1.0 - p);
        }
        const double alpha = param->pairAlpha[pair];
        const double rVdw = param->pairRVdw[pair];
        const double e1 = std::exp(alpha * (1.0 - f / rVdw));
        const double e2 = std::exp(0.5 * alpha * (1.0 - f / rVdw));
        double wall = 0.0;
        double wallSlope = 0.0;
        if (param->withInnerWall) {
            wall = param->pairEcore[pair] *
                   std::exp(param->pairAcore[pair] * (1.0 - r / param->pairRcore[pair]));
            wallSlope = -param->pairAcore[pair] / param->pairRcore[pair] * wall;
        }
        const double v = param->pairDepth[pair] * (e1 - 2.0 * e2) + wall;
        const double slope =
            taperSlope * v + taper * (-param->pairDepth[pair] * alpha / rVdw * (e1 - e2) * df + wallSlope);
        forces[3 * i] += slope / r * dx;
        forces[3 * i + 1] += slope / r * dy;
        forces[3 * i + 2] += slope / r * dz;
        return taper * v;
    }

    std::unique_ptr<ReaxParam> param;
    std::unique_ptr<Geometry> geometry;
    std::vector<double> positions;
    std::vector<int> types;
    ReaxShellBuilder shells;
    ReaxVdw vdw;
    ReaxEvaluation evaluation;
    std::vector<double> energies;
    std::vector<double> forces;
    std::vector<double> weights;
};

// Arguments: withShielding, withInnerWall.
void vanDerWaals(benchmark::State& state) {
    Bench bench(state.range(0) != 0, state.range(1) != 0);
    const auto together = [&] { bench.goTogether(); };
    for (auto _ : state) {
        together();
    }
    state.counters["ns_per_atom"] =
        benchmark::Counter(static_cast<double>(numAtoms) * 1.0e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["neighbors"] = 2.0 * static_cast<double>(bench.numPairs()) / numAtoms;
    state.counters["plain/this"] = medianRatio([&] { bench.goPlain(false); }, together);
    state.counters["plainHalf/this"] = medianRatio([&] { bench.goPlain(true); }, together);
    state.counters["this/kernel"] = medianRatio(together, [&] { bench.goKernel(); });
    state.counters["evaluation/this"] = medianRatio([&] { bench.goThroughEvaluation(); }, together);
    state.counters["search/this"] = medianRatio([&] { bench.geometry->updateNeighbors(rcut); }, together);
}
BENCHMARK(vanDerWaals)
    ->ArgNames({"shielding", "wall"})
    ->Args({1, 0})
    ->Args({1, 1})
    ->Args({0, 0})
    ->Args({0, 1})
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace melta::bench

BENCHMARK_MAIN();
