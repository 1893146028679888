#include "network/SymmPreparation.hpp"

#include "base/RandomSource.hpp"
#include "network/BatchFixture.hpp"
#include "network/ToySymmFunc.hpp"
#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

namespace melta {
namespace {

using test::outputOf;
using test::stopMessageOf;
using test::ThreadCount;
using test::ToySymmFunc;

constexpr float rcut = 4.0f;
constexpr std::array<int, 5> someSizes{4, 2, 5, 3, 6};

const std::string frame = "    |" + std::string(95, '-') + "|\n    |";
const std::string fullBar = frame + std::string(95, '=') + "|\n\n";

// A set with two elements, "A1" and "A2".
struct SetFixture {
    explicit SetFixture(std::span<const int> sizes) {
        set.numElems = 2;
        set.elemNames = {"A1", "A2"};
        unsigned seed = 21;
        for (const int size : sizes) {
            set.geometries.push_back(std::make_unique<Geometry>(test::makeGeometry(size, 2, seed++, rcut)));
            geometries.push_back(set.geometries.back().get());
        }
        set.numGeoms = static_cast<int>(sizes.size());
    }

    GeometrySet set;
    std::vector<Geometry*> geometries;
    ToySymmFunc symmFunc{2, 4, rcut};
};

void expectRowsOf(const SetFixture& fixture, const std::vector<SymmRows>& rows, bool withDerivs) {
    ASSERT_EQ(rows.size(), fixture.geometries.size());
    for (std::size_t g = 0; g < rows.size(); ++g) {
        const Geometry& geometry = *fixture.geometries[g];
        ASSERT_EQ(rows[g].getNumAtoms(), static_cast<std::size_t>(geometry.numAtoms));
        EXPECT_EQ(rows[g].hasDerivs(), withDerivs);
        for (int a = 0; a < geometry.numAtoms; ++a) {
            const auto atom = static_cast<std::size_t>(a);
            const auto numRows = 3 * (static_cast<std::size_t>(geometry.numNeighbors(a)) + 1);
            std::vector<float> values(4);
            std::vector<float> derivs(withDerivs ? numRows * 4 : 0);
            fixture.symmFunc.calculate(geometry, a, values, derivs);
            const auto gotValues = rows[g].valuesOf(atom);
            const auto gotDerivs = rows[g].derivsOf(atom);

            EXPECT_EQ(std::vector<float>(gotValues.begin(), gotValues.end()), values);
            EXPECT_EQ(std::vector<float>(gotDerivs.begin(), gotDerivs.end()), derivs);
        }
    }
}

TEST(SymmPreparation, CalculatesEachAtomOfEachGeometry) {
    const SetFixture fixture(someSizes);
    for (const int numThreads : {1, 3}) {
        for (const bool derive : {false, true}) {
            const ThreadCount threads(numThreads);

            const std::vector<SymmRows> rows =
                calculateSymmRows(fixture.symmFunc, fixture.geometries, derive, false);

            expectRowsOf(fixture, rows, derive);
        }
    }
}

TEST(SymmPreparation, CalculatesASingleGeometryByItsAtoms) {
    const SetFixture fixture(std::array<int, 1>{7});
    const ThreadCount threads(3);
    std::vector<SymmRows> rows;

    // One geometry is no reason for a bar.
    const std::string text =
        outputOf([&] { rows = calculateSymmRows(fixture.symmFunc, fixture.geometries, true, true); });

    expectRowsOf(fixture, rows, true);
    EXPECT_EQ(text, "");
}

TEST(SymmPreparation, DrawsABarOnDemand) {
    const SetFixture fixture(someSizes);
    for (const int numThreads : {1, 2, 3}) {
        const ThreadCount threads(numThreads);

        EXPECT_EQ(outputOf([&] { calculateSymmRows(fixture.symmFunc, fixture.geometries, false, true); }),
                  fullBar);
        EXPECT_EQ(outputOf([&] { calculateSymmRows(fixture.symmFunc, fixture.geometries, false, false); }),
                  "");
    }
}

TEST(SymmPreparation, TakesGeometriesInTheOrderOfTheSharedSource) {
    const SetFixture fixture(someSizes);
    sharedRandom().seed(7);
    RandomSource random;
    random.seed(7);
    std::vector<int> order{0, 1, 2, 3, 4};

    calculateSymmRows(fixture.symmFunc, fixture.geometries, false, false);

    random.shuffle(order);
    EXPECT_EQ(sharedRandom().draw(), random.draw());
}

TEST(SymmPreparation, StopsAtValuesThatAreNotFinite) {
    for (const int numThreads : {1, 3}) {
        const ThreadCount threads(numThreads);
        SetFixture fixture(someSizes);
        std::ranges::fill(fixture.geometries[4]->positions, std::numeric_limits<float>::quiet_NaN());
        const std::string message = "NaN at symmetry functions of the 4 -th geometry.";

        EXPECT_EQ(
            stopMessageOf([&] { calculateSymmRows(fixture.symmFunc, fixture.geometries, false, false); }),
            message);
        std::string ofSet;
        outputOf(
            [&] { ofSet = stopMessageOf([&] { statisticsOfSet(fixture.symmFunc, fixture.set, false); }); });
        EXPECT_EQ(ofSet, message);
    }
}

// As many-body functions have for two neighbours at one place.
TEST(SymmPreparation, StopsAtDerivativesThatAreNotFinite) {
    class Broken final : public SymmFunc {
    public:
        Broken() : SymmFunc(2, false, false) { numBasis = 2; }
        void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                       std::span<float> symmDiff) const override {
            std::ranges::fill(symmData, 1.0f);
            std::ranges::fill(symmDiff, 0.0f);
            if (geometry.numAtoms == someSizes[3] && iatom == 2 && !symmDiff.empty()) {
                symmDiff.back() = std::numeric_limits<float>::quiet_NaN();
            }
        }
        void calculateAtom(const NeighborArrays& /*neighbors*/, std::span<float> /*symmData*/,
                           std::span<float> /*symmDiff*/) const override {}
    };
    const Broken symmFunc;
    for (const int numThreads : {1, 3}) {
        const ThreadCount threads(numThreads);
        const SetFixture fixture(someSizes);
        const std::span<Geometry* const> all(fixture.geometries);
        const auto stopOf = [&](std::span<Geometry* const> geometries, bool derive) {
            return stopMessageOf([&] { calculateSymmRows(symmFunc, geometries, derive, false); });
        };

        EXPECT_EQ(stopOf(all, true), "NaN at symmetry functions of the 3 -th geometry.");
        EXPECT_EQ(stopOf(all.subspan(3, 1), true), "NaN at symmetry functions of the 0 -th geometry.");
        EXPECT_EQ(stopOf(all, false), "(no stop)");
    }
}

// A stop inside the shared loop reaches the caller instead of ending the process.
TEST(SymmPreparation, PassesOnStopsOfTheSymmetryFunctions) {
    class Stopping final : public SymmFunc {
    public:
        Stopping() : SymmFunc(1, false, true) { numBasis = 2; }
        void calculate(const Geometry& geometry, int, std::span<float>, std::span<float>) const override {
            const std::vector<float> none;
            checkArguments(geometry, -1, none, none);
        }
        void calculateAtom(const NeighborArrays& /*neighbors*/, std::span<float> /*symmData*/,
                           std::span<float> /*symmDiff*/) const override {}
    };
    const Stopping symmFunc;
    const ThreadCount threads(3);
    for (const std::size_t count : {std::size_t{1}, std::size_t{5}}) {
        const SetFixture fixture{std::span(someSizes).first(count)};

        EXPECT_EQ(stopMessageOf([&] { calculateSymmRows(symmFunc, fixture.geometries, false, false); }),
                  "index of atom is out of range.");
    }
}

// Extremes over all atoms of each element, written out.
SymmStatistics statisticsTwin(const SetFixture& fixture) {
    std::array<float, 2> top{-1.0e8f, -1.0e8f};
    std::array<float, 2> bottom{1.0e8f, 1.0e8f};
    for (const Geometry* const geometry : fixture.geometries) {
        for (int a = 0; a < geometry->numAtoms; ++a) {
            std::array<float, 4> values{};
            fixture.symmFunc.calculate(*geometry, a, values, {});
            const auto e = static_cast<std::size_t>(geometry->elements[static_cast<std::size_t>(a)]);
            top[e] = std::max(top[e], *std::ranges::max_element(values));
            bottom[e] = std::min(bottom[e], *std::ranges::min_element(values));
        }
    }
    SymmStatistics statistics;
    for (std::size_t e = 0; e < 2; ++e) {
        statistics.symmAve.push_back((top[e] + bottom[e]) * 0.5f);
        statistics.symmDev.push_back((top[e] - bottom[e]) * 0.5f);
    }
    return statistics;
}

TEST(SymmPreparation, TakesTheRangeOfEachElement) {
    const SetFixture fixture(someSizes);
    const ThreadCount threads(2);
    const SymmStatistics want = statisticsTwin(fixture);
    const std::vector<SymmRows> rows = calculateSymmRows(fixture.symmFunc, fixture.geometries, false, false);

    const SymmStatistics ofRows = statisticsOfRows(fixture.geometries, rows, 2, false);
    SymmStatistics ofSet;
    const std::string text = outputOf([&] { ofSet = statisticsOfSet(fixture.symmFunc, fixture.set, false); });

    EXPECT_EQ(ofRows.symmAve, want.symmAve);
    EXPECT_EQ(ofRows.symmDev, want.symmDev);
    EXPECT_EQ(ofSet.symmAve, want.symmAve);
    EXPECT_EQ(ofSet.symmDev, want.symmDev);
    EXPECT_EQ(text, fullBar);
}

TEST(SymmPreparation, TakesTheRangeOfASingleGeometryWithoutABar) {
    const SetFixture fixture(std::array<int, 1>{8});

    EXPECT_EQ(outputOf([&] { statisticsOfSet(fixture.symmFunc, fixture.set, false); }), "");
}

TEST(SymmPreparation, StopsAtTooSmallARange) {
    const std::string message = "deviation of symmetry functions is too small.";
    // Without neighbours all values are zero.
    std::vector<std::unique_ptr<Geometry>> lone;
    lone.push_back(std::make_unique<Geometry>(test::makeLoneAtom(0, 20.0f, rcut)));
    const std::vector<Geometry*> geometries{lone.front().get()};
    const ToySymmFunc symmFunc(1, 4, rcut);
    const std::vector<SymmRows> rows = calculateSymmRows(symmFunc, geometries, false, false);
    const SetFixture fixture(someSizes);
    const std::vector<SymmRows> rowsOfTwo =
        calculateSymmRows(fixture.symmFunc, fixture.geometries, false, false);

    EXPECT_EQ(stopMessageOf([&] { statisticsOfRows(geometries, rows, 1, false); }), message);
    // A third element has no atom.
    EXPECT_EQ(stopMessageOf([&] { statisticsOfRows(fixture.geometries, rowsOfTwo, 3, false); }), message);
}

TEST(SymmPreparation, NormalisesValuesAndDerivatives) {
    const SetFixture fixture(someSizes);
    const std::vector<SymmRows> raw = calculateSymmRows(fixture.symmFunc, fixture.geometries, true, false);
    std::vector<SymmRows> rows = calculateSymmRows(fixture.symmFunc, fixture.geometries, true, false);
    const SymmStatistics statistics{{0.25f, 1.5f}, {0.75f, 3.0f}};
    const ThreadCount threads(3);

    renormalizeSymmRows(fixture.geometries, rows, statistics);

    for (std::size_t g = 0; g < rows.size(); ++g) {
        for (std::size_t a = 0; a < rows[g].getNumAtoms(); ++a) {
            const auto e = static_cast<std::size_t>(fixture.geometries[g]->elements[a]);
            for (std::size_t b = 0; b < 4; ++b) {
                EXPECT_EQ(rows[g].valuesOf(a)[b],
                          (raw[g].valuesOf(a)[b] - statistics.symmAve[e]) / statistics.symmDev[e]);
            }
            for (std::size_t i = 0; i < raw[g].derivsOf(a).size(); ++i) {
                EXPECT_EQ(rows[g].derivsOf(a)[i], raw[g].derivsOf(a)[i] / statistics.symmDev[e]);
            }
        }
    }
}

TEST(SymmPreparation, ScalesEachFunctionByTheRootOfItsDeviation) {
    const SetFixture fixture(someSizes);
    const std::vector<SymmRows> rows = calculateSymmRows(fixture.symmFunc, fixture.geometries, false, false);
    std::array<std::array<std::vector<double>, 4>, 2> values; // [element][function]
    for (std::size_t g = 0; g < rows.size(); ++g) {
        for (std::size_t a = 0; a < rows[g].getNumAtoms(); ++a) {
            for (std::size_t b = 0; b < 4; ++b) {
                const auto e = static_cast<std::size_t>(fixture.geometries[g]->elements[a]);
                values[e][b].push_back(static_cast<double>(rows[g].valuesOf(a)[b]));
            }
        }
    }

    const SymmStatistics ofRows = statisticsOfRows(fixture.geometries, rows, 2, true);
    SymmStatistics ofSet;
    outputOf([&] { ofSet = statisticsOfSet(fixture.symmFunc, fixture.set, true); });

    for (std::size_t e = 0; e < 2; ++e) {
        std::array<double, 4> mean{};
        std::array<double, 4> deviation{};
        for (std::size_t b = 0; b < 4; ++b) {
            const auto count = static_cast<double>(values[e][b].size());
            for (const double value : values[e][b]) {
                mean[b] += value / count;
            }
            for (const double value : values[e][b]) {
                deviation[b] += (value - mean[b]) * (value - mean[b]) / count;
            }
            deviation[b] = std::sqrt(deviation[b]);
        }
        const double largest = *std::ranges::max_element(deviation);
        for (std::size_t b = 0; b < 4; ++b) {
            EXPECT_NEAR(static_cast<double>(ofRows.functionShift[4 * e + b]), mean[b], 1.0e-5);
            EXPECT_NEAR(static_cast<double>(ofRows.functionScale[4 * e + b]) * std::pow(deviation[b], 0.7) *
                            std::pow(largest, 0.3) / 0.4,
                        1.0, 1.0e-5);
        }
    }
    EXPECT_EQ(ofRows.symmAve, statisticsTwin(fixture).symmAve);
    EXPECT_EQ(ofSet.functionShift, ofRows.functionShift);
    EXPECT_EQ(ofSet.functionScale, ofRows.functionScale);
}

TEST(SymmPreparation, NormalisesByTheScaleOfEachFunction) {
    const SetFixture fixture(someSizes);
    const std::vector<SymmRows> raw = calculateSymmRows(fixture.symmFunc, fixture.geometries, true, false);
    std::vector<SymmRows> rows = calculateSymmRows(fixture.symmFunc, fixture.geometries, true, false);
    const SymmStatistics statistics = statisticsOfRows(fixture.geometries, rows, 2, true);

    renormalizeSymmRows(fixture.geometries, rows, statistics);

    for (std::size_t g = 0; g < rows.size(); ++g) {
        for (std::size_t a = 0; a < rows[g].getNumAtoms(); ++a) {
            const auto first = 4 * static_cast<std::size_t>(fixture.geometries[g]->elements[a]);
            for (std::size_t b = 0; b < 4; ++b) {
                EXPECT_EQ(rows[g].valuesOf(a)[b],
                          (raw[g].valuesOf(a)[b] - statistics.functionShift[first + b]) *
                              statistics.functionScale[first + b]);
            }
            for (std::size_t i = 0; i < raw[g].derivsOf(a).size(); ++i) {
                EXPECT_EQ(rows[g].derivsOf(a)[i],
                          raw[g].derivsOf(a)[i] * statistics.functionScale[first + i % 4]);
            }
        }
    }
}

TEST(SymmPreparation, NormalisesIntoPlusMinusOne) {
    const SetFixture fixture(someSizes);
    std::vector<SymmRows> rows = calculateSymmRows(fixture.symmFunc, fixture.geometries, false, false);

    renormalizeSymmRows(fixture.geometries, rows, statisticsOfRows(fixture.geometries, rows, 2, false));

    float largest = 0.0f;
    for (const SymmRows& row : rows) {
        EXPECT_FALSE(row.hasDerivs());
        for (const float value : row.allValues()) {
            largest = std::max(largest, std::abs(value));
        }
    }
    EXPECT_NEAR(largest, 1.0f, 1.0e-6f);
}

} // namespace
} // namespace melta
