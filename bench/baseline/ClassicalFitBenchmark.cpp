// Evaluations of the loss of the Lennard-Jones-like potential's fit on 1,000 cells of 64 atoms: with products
// that are known from the start, geometry by geometry, and in the plain form, which walks through all pairs
// and multiplies a matrix of force derivatives for each coefficient. All threads.

#include "baseline/classical/ClassicalLoss.hpp"
#include "baseline/classical/ClassicalPenalty.hpp"
#include "config/Property.hpp"
#include "structure/Geometry.hpp"
#include "support/PairedTiming.hpp"

#include <benchmark/benchmark.h>
#include <cblas.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace {

using namespace melta;

constexpr int numCells = 1000;
constexpr int numAtoms = 64;
constexpr float rc = 5.0f;

// Cubic lattices with random displacements; elements in turn.
std::unique_ptr<Geometry> makeCell(std::mt19937& random, int numElems) {
    constexpr float spacing = 2.6f;
    std::normal_distribution<float> normal(0.0f, 0.1f);
    const float side = 4.0f * spacing;
    const std::vector<float> lattice{side, 0, 0, 0, side, 0, 0, 0, side};
    auto geometry = std::make_unique<Geometry>(lattice, numAtoms, false);
    for (int i = 0; i < numAtoms; ++i) {
        const auto place = [&](int k) { return spacing * static_cast<float>(k) + normal(random); };
        geometry->setAtom(i, i % numElems, 1 + i % numElems, place(i % 4), place(i / 4 % 4), place(i / 16),
                          normal(random), normal(random), normal(random), 0.0, 0.0f);
    }
    geometry->energyTotal = static_cast<double>(normal(random));
    geometry->haveSetAtoms(rc, false);
    return geometry;
}

struct Data {
    std::vector<std::unique_ptr<Geometry>> cells;
    std::vector<const Geometry*> geometries;
    ClassicalParameters parameters;
    Property property;

    explicit Data(int numElems) : parameters(static_cast<std::size_t>(numElems)) {
        std::mt19937 random(1);
        for (int g = 0; g < numCells; ++g) {
            cells.push_back(makeCell(random, numElems));
            geometries.push_back(cells.back().get());
        }
        parameters.reset(10000.0f);
        for (float& d : parameters.coefD) {
            d = -30.0f;
        }
    }
};

// The plain form: nothing is kept from one evaluation to the next.
class PlainLoss {
public:
    explicit PlainLoss(const Data& ofRun) : data(&ofRun), cutoff(rc), numPairs(ofRun.parameters.numPairs()) {}

    float evaluate() {
        float loss = 0.0f;
        std::vector<float> gradient(numPowers * numPairs);
#pragma omp parallel
        {
            Work work(numPairs);
#pragma omp for schedule(static)
            for (std::size_t g = 0; g < data->geometries.size(); ++g) {
                addGeometry(*data->geometries[g], work);
            }
#pragma omp critical
            {
                loss += work.loss;
                for (std::size_t i = 0; i < gradient.size(); ++i) {
                    gradient[i] += work.gradient[i];
                }
            }
        }
        return loss + gradient[0];
    }

private:
    struct Work {
        float loss = 0.0f;
        float energy = 0.0f;
        std::vector<float> gradient;
        std::vector<float> forces;
        std::vector<float> energyDerivatives; // [numPowers][pairs]
        std::vector<float> forceDerivatives;  // [numPowers][3 numAtoms][pairs]

        explicit Work(std::size_t numPairs)
            : gradient(numPowers * numPairs), forces(3 * numAtoms), energyDerivatives(numPowers * numPairs),
              forceDerivatives(numPowers * 3 * numAtoms * numPairs) {}
    };

    void addGeometry(const Geometry& geometry, Work& work) const {
        work.energy = 0.0f;
        std::ranges::fill(work.forces, 0.0f);
        std::ranges::fill(work.energyDerivatives, 0.0f);
        std::ranges::fill(work.forceDerivatives, 0.0f);
        for (int i = 0; i < numAtoms; ++i) {
            for (const Neighbor& neighbor : geometry.getNeighbors(i)) {
                addNeighbor(geometry, static_cast<std::size_t>(i), neighbor, work);
            }
        }
        const float gap = work.energy - static_cast<float>(geometry.energyTotal);
        work.loss += gap * gap;
        for (std::size_t c = 0; c < work.forces.size(); ++c) {
            work.forces[c] -= geometry.forces[c];
            work.loss += work.forces[c] * work.forces[c];
        }
        for (std::size_t k = 0; k < numPowers; ++k) {
            const auto pairs = static_cast<blasint>(numPairs);
            cblas_sgemv(CblasRowMajor, CblasTrans, 3 * numAtoms, pairs, 2.0f,
                        work.forceDerivatives.data() + k * 3 * numAtoms * numPairs, pairs, work.forces.data(),
                        1, 1.0f, work.gradient.data() + k * numPairs, 1);
            for (std::size_t p = 0; p < numPairs; ++p) {
                work.gradient[k * numPairs + p] += 2.0f * gap * work.energyDerivatives[k * numPairs + p];
            }
        }
    }

    void addNeighbor(const Geometry& geometry, std::size_t i, const Neighbor& neighbor, Work& work) const {
        const auto position = geometry.computeNeighborPosition(neighbor);
        float difference[3];
        float square = 0.0f;
        for (std::size_t c = 0; c < 3; ++c) {
            difference[c] = geometry.positions[3 * i + c] - position[c];
            square += difference[c] * difference[c];
        }
        if (!(square < rc * rc)) {
            return;
        }
        const auto element = static_cast<std::size_t>(geometry.elements[i]);
        const auto other =
            static_cast<std::size_t>(geometry.elements[static_cast<std::size_t>(neighbor.atom)]);
        const std::size_t pair = pairIndexOf(element, other);
        const auto coefs = data->parameters.coefsOf(pair);
        const float r = std::sqrt(square);
        const auto powers = powersOf(r);
        for (std::size_t k = 0; k < numPowers; ++k) {
            const float value = 1.0f / powers[k] - cutoff.shift[k] + cutoff.slope[k] * (r - rc);
            const float push = pairPowers[k] / (powers[k] * r) - cutoff.slope[k];
            work.energy += 0.5f * coefs[k] * value;
            work.energyDerivatives[k * numPairs + pair] += 0.5f * value;
            for (std::size_t c = 0; c < 3; ++c) {
                const float part = push * difference[c] / r;
                work.forces[3 * i + c] += coefs[k] * part;
                work.forceDerivatives[(k * 3 * numAtoms + 3 * i + c) * numPairs + pair] += part;
            }
        }
    }

    const Data* data;
    PairCutoff cutoff;
    std::size_t numPairs;
};

// Argument: elements.
void classicalEvaluation(benchmark::State& state) {
    openblas_set_num_threads(1);
    const Data data(static_cast<int>(state.range(0)));
    const PairCutoff cutoff(rc);
    const std::size_t numElems = data.parameters.numElems();
    ClassicalLoss loss(data.geometries, cutoff, numElems, &data.property);
    ClassicalLoss singly(data.geometries, cutoff, numElems, &data.property, 0);
    PlainLoss plain(data);
    const auto known = [&] { loss.deriveParametersForLossFunc(data.parameters); };
    for (auto _ : state) {
        known();
        benchmark::DoNotOptimize(loss.loss);
    }
    constexpr int repetitions = 1000;
    const auto manyKnown = [&] {
        for (int i = 0; i < repetitions; ++i) {
            known();
        }
    };
    const auto evaluatePlain = [&] { benchmark::DoNotOptimize(plain.evaluate()); };
    const auto evaluateSingly = [&] { singly.deriveParametersForLossFunc(data.parameters); };
    const auto prepare = [&] { ClassicalLoss(data.geometries, cutoff, numElems, &data.property); };
    state.counters["plain/known"] = repetitions * bench::medianRatio(evaluatePlain, manyKnown);
    state.counters["singly/known"] = repetitions * bench::medianRatio(evaluateSingly, manyKnown);
    state.counters["plain/preparation"] = bench::medianRatio(evaluatePlain, prepare);
}
BENCHMARK(classicalEvaluation)->ArgName("elements")->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMicrosecond);

// The plain form alone.
void plainEvaluation(benchmark::State& state) {
    openblas_set_num_threads(1);
    const Data data(static_cast<int>(state.range(0)));
    PlainLoss plain(data);
    for (auto _ : state) {
        benchmark::DoNotOptimize(plain.evaluate());
    }
}
BENCHMARK(plainEvaluation)
    ->ArgName("elements")
    ->Arg(1)
    ->Arg(2)
    ->Arg(4)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

// What an evaluation adds for the floor of the pair energies.
void penaltyEvaluation(benchmark::State& state) {
    ClassicalParameters parameters(static_cast<std::size_t>(state.range(0)));
    parameters.reset(10000.0f);
    ClassicalGradients gradients(parameters.numElems());
    ClassicalPenalty penalty(PairCutoff(rc), Property().classicalLower);
    for (auto _ : state) {
        penalty.addLowerPenalty(parameters, gradients);
        benchmark::DoNotOptimize(penalty.penalty);
    }
}
BENCHMARK(penaltyEvaluation)->ArgName("elements")->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMicrosecond);

// What precedes the first evaluation.
void classicalPreparation(benchmark::State& state) {
    openblas_set_num_threads(1);
    const Data data(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const ClassicalLoss loss(data.geometries, PairCutoff(rc), data.parameters.numElems(), &data.property);
        benchmark::DoNotOptimize(&loss);
    }
}
BENCHMARK(classicalPreparation)
    ->ArgName("elements")
    ->Arg(1)
    ->Arg(2)
    ->Arg(4)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
