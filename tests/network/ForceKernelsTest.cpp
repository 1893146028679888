#include "network/ForceKernels.hpp"

#include "network/Numbers.hpp"
#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

namespace melta {
namespace {

using test::onEachTarget;
using test::randomFloats;
using test::toDouble;
using test::worstError;

constexpr std::array<std::size_t, 5> someLanes{4, 8, 12, 16, 20};
constexpr std::array<std::size_t, 4> someRows{3, 6, 24, 75};
constexpr std::array<std::size_t, 8> someBasis{1, 3, 4, 7, 16, 33, 40, 80};

constexpr std::array<std::size_t, 9> someModels{1, 2, 3, 4, 5, 8, 12, 16, 20};

void forAllShapes(const std::function<void(std::size_t, std::size_t, std::size_t)>& work) {
    for (const std::size_t numModels : someModels) {
        for (const std::size_t numRows : someRows) {
            for (const std::size_t numBasis : someBasis) {
                SCOPED_TRACE(testing::Message()
                             << numRows << " rows, " << numBasis << " functions, " << numModels << " models");
                work(numRows, numBasis, numModels);
            }
        }
    }
}

TEST(ForceKernels, RoundUpToWholeGroups) {
    EXPECT_EQ(kernels::roundUpToLanes(1), 4U);
    EXPECT_EQ(kernels::roundUpToLanes(4), 4U);
    EXPECT_EQ(kernels::roundUpToLanes(5), 8U);
    EXPECT_EQ(kernels::roundUpToLanes(16), 16U);
}

TEST(ForceKernels, MultiplyByGrads) {
    onEachTarget([] {
        forAllShapes([](std::size_t numRows, std::size_t numBasis, std::size_t numModels) {
            const std::size_t lanes = kernels::roundUpToLanes(numModels);
            const std::vector<float> symmDiff = randomFloats(numRows * numBasis, 2);
            const std::vector<float> grads = randomFloats(numModels * numBasis, 3);
            std::vector<float> work(numBasis * lanes);
            std::vector<float> rows(numRows * lanes, 99.0f);

            kernels::multiplyByGrads(numRows, numBasis, numModels, symmDiff.data(), grads.data(), work.data(),
                                     rows.data());

            for (std::size_t q = 0; q < numRows; ++q) {
                for (std::size_t m = 0; m < numModels; ++m) {
                    double want = 0.0;
                    for (std::size_t b = 0; b < numBasis; ++b) {
                        want += static_cast<double>(symmDiff[q * numBasis + b]) *
                                static_cast<double>(grads[m * numBasis + b]);
                    }
                    ASSERT_LE(std::abs(static_cast<double>(rows[q * lanes + m]) - want), 1.0e-5)
                        << q << ' ' << m;
                }
            }
        });
    });
}

TEST(ForceKernels, MultiplyByRows) {
    onEachTarget([] {
        forAllShapes([](std::size_t numRows, std::size_t numBasis, std::size_t numModels) {
            const std::size_t lanes = kernels::roundUpToLanes(numModels);
            const std::vector<float> symmDiff = randomFloats(numRows * numBasis, 4);
            const std::vector<float> rows = randomFloats(numRows * lanes, 5);
            std::vector<float> work(numBasis * lanes);
            std::vector<float> grads(numModels * numBasis, 99.0f);

            kernels::multiplyByRows(numRows, numBasis, numModels, symmDiff.data(), rows.data(), work.data(),
                                    grads.data());

            for (std::size_t m = 0; m < numModels; ++m) {
                for (std::size_t b = 0; b < numBasis; ++b) {
                    double want = 0.0;
                    for (std::size_t q = 0; q < numRows; ++q) {
                        want += static_cast<double>(symmDiff[q * numBasis + b]) *
                                static_cast<double>(rows[q * lanes + m]);
                    }
                    ASSERT_LE(std::abs(static_cast<double>(grads[m * numBasis + b]) - want), 1.0e-5)
                        << m << ' ' << b;
                }
            }
        });
    });
}

// Neighbour records are wider than an atom index; repeated atoms and the centre itself occur among them.
constexpr std::size_t atomStride = 4;
constexpr std::size_t numAtoms = 4;
constexpr std::size_t center = 2;
constexpr std::array<std::int32_t, 5> neighborAtoms{0, 3, 2, 0, 0};

std::vector<std::int32_t> neighborRecords() {
    std::vector<std::int32_t> records(neighborAtoms.size() * atomStride, 77);
    for (std::size_t n = 0; n < neighborAtoms.size(); ++n) {
        records[n * atomStride] = neighborAtoms[n];
    }
    return records;
}

std::size_t atomOfBlock(std::size_t block) {
    return block == 0 ? center : static_cast<std::size_t>(neighborAtoms[block - 1]);
}

TEST(ForceKernels, ScatterForces) {
    onEachTarget([] {
        for (const std::size_t lanes : someLanes) {
            const std::vector<std::int32_t> records = neighborRecords();
            const std::vector<float> rows = randomFloats((neighborAtoms.size() + 1) * 3 * lanes, 6);
            std::vector<float> forces = randomFloats(numAtoms * 3 * lanes, 7);
            std::vector<double> want = toDouble(forces);
            for (std::size_t block = 0; block <= neighborAtoms.size(); ++block) {
                for (std::size_t k = 0; k < 3 * lanes; ++k) {
                    want[atomOfBlock(block) * 3 * lanes + k] -=
                        static_cast<double>(rows[block * 3 * lanes + k]);
                }
            }

            kernels::scatterForces(center, neighborAtoms.size(), records.data(), atomStride, lanes,
                                   rows.data(), forces.data());

            EXPECT_LE(worstError(forces, want), 3.0e-7) << lanes;
        }
    });
}

TEST(ForceKernels, ScatterOnlyToTheAtomItselfWithoutNeighbors) {
    std::vector<float> forces(numAtoms * 3 * 4, 1.0f);
    const std::vector<float> rows(3 * 4, 0.25f);

    kernels::scatterForces(center, 0, nullptr, atomStride, 4, rows.data(), forces.data());

    for (std::size_t k = 0; k < forces.size(); ++k) {
        EXPECT_EQ(forces[k], k / 12 == center ? 0.75f : 1.0f);
    }
}

TEST(ForceKernels, GatherForces) {
    onEachTarget([] {
        for (const std::size_t lanes : someLanes) {
            const std::vector<std::int32_t> records = neighborRecords();
            const std::vector<float> grads = randomFloats(numAtoms * 3 * lanes, 8);
            std::vector<float> rows((neighborAtoms.size() + 1) * 3 * lanes, 99.0f);

            kernels::gatherForces(center, neighborAtoms.size(), records.data(), atomStride, lanes,
                                  grads.data(), rows.data());

            for (std::size_t k = 0; k < rows.size(); ++k) {
                const std::size_t block = k / (3 * lanes);
                EXPECT_EQ(rows[k], -grads[atomOfBlock(block) * 3 * lanes + k % (3 * lanes)]);
            }
        }
    });
}

constexpr std::array<std::array<std::size_t, 2>, 6> axes{{{0, 0}, {1, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}}};
constexpr std::size_t numWays = 5;

TEST(ForceKernels, AddStress) {
    onEachTarget([] {
        for (const std::size_t lanes : someLanes) {
            const std::vector<float> ways = randomFloats(3 * numWays, 9);
            const std::vector<float> rows = randomFloats(3 * numWays * lanes, 10);
            std::vector<float> stress = randomFloats(6 * lanes, 11);
            std::vector<double> want = toDouble(stress);
            for (std::size_t n = 0; n < numWays; ++n) {
                for (std::size_t k = 0; k < want.size(); ++k) {
                    const auto product = [&](std::size_t a, std::size_t b) {
                        return 0.5 * static_cast<double>(ways[3 * n + a]) *
                               static_cast<double>(rows[(3 * n + b) * lanes + k % lanes]);
                    };
                    const auto [a, b] = axes[k / lanes];
                    want[k] += product(a, b) + product(b, a);
                }
            }

            kernels::addStress(numWays, ways.data(), lanes, rows.data(), stress.data());

            EXPECT_LE(worstError(stress, want), 1.0e-6) << lanes;
        }
    });
}

TEST(ForceKernels, SpreadStress) {
    onEachTarget([] {
        for (const std::size_t lanes : someLanes) {
            const std::vector<float> ways = randomFloats(3 * numWays, 12);
            const std::vector<float> grads = randomFloats(6 * lanes, 13);
            std::vector<float> rows(3 * numWays * lanes, 99.0f);
            std::vector<double> want(rows.size(), 0.0);
            for (std::size_t n = 0; n < numWays; ++n) {
                for (std::size_t k = 0; k < grads.size(); ++k) {
                    const auto [a, b] = axes[k / lanes];
                    const double half = 0.5 * static_cast<double>(grads[k]);
                    want[(3 * n + b) * lanes + k % lanes] += half * static_cast<double>(ways[3 * n + a]);
                    want[(3 * n + a) * lanes + k % lanes] += half * static_cast<double>(ways[3 * n + b]);
                }
            }

            kernels::spreadStress(numWays, ways.data(), lanes, grads.data(), rows.data());

            EXPECT_LE(worstError(rows, want), 1.0e-6) << lanes;
        }
    });
}

} // namespace
} // namespace melta
