// What physics asks of the energies and forces of an arrangement, whatever its weights.
#include "network/ArchFixture.hpp"

#include "network/Numbers.hpp"
#include "structure/ThreadCount.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <numeric>

namespace melta {
namespace {

using test::ArchFixture;
using test::evaluate;
using test::EvaluatedGeometry;
using test::worstError;

constexpr std::array<int, 3> someSizes{6, 4, 5};

// An evaluating arrangement with the ranges of its set.
struct Evaluator {
    explicit Evaluator(int numElems)
        : fixture(numElems, someSizes), arch(fixture.makeArch(NNArch::onlyEnergy, false, false)) {
        arch->getSymmStatistics() = fixture.makeStatistics();
    }

    EvaluatedGeometry operator()(Geometry& geometry) { return evaluate(*arch, geometry); }
    Geometry& geometry() { return *fixture.set.geometries.front(); }

    ArchFixture fixture;
    std::unique_ptr<NNArch> arch;
};

// A copy with other places of atoms and another cell.
using Place = std::array<double, 3>;
Geometry transformed(const Geometry& source, const std::function<Place(Place)>& moveAtom,
                     const std::function<std::array<Place, 3>(std::array<Place, 3>)>& changeCell,
                     std::span<const int> order) {
    std::array<Place, 3> cell{};
    for (std::size_t k = 0; k < 9; ++k) {
        cell[k / 3][k % 3] = static_cast<double>(source.lattice[k]);
    }
    cell = changeCell(cell);
    std::array<float, 9> lattice{};
    for (std::size_t k = 0; k < 9; ++k) {
        lattice[k] = static_cast<float>(cell[k / 3][k % 3]);
    }
    Geometry result(lattice, source.numAtoms, true);
    for (int a = 0; a < source.numAtoms; ++a) {
        const auto from = static_cast<std::size_t>(order[static_cast<std::size_t>(a)]);
        Place place{};
        for (std::size_t c = 0; c < 3; ++c) {
            place[c] = static_cast<double>(source.positions[3 * from + c]);
        }
        place = moveAtom(place);
        result.setAtom(a, source.elements[from], source.atomNumbers[from], static_cast<float>(place[0]),
                       static_cast<float>(place[1]), static_cast<float>(place[2]), 0.0f, 0.0f, 0.0f, 0.0,
                       0.0f);
    }
    result.haveSetAtoms(ArchFixture::rcut, false);
    return result;
}

std::vector<int> sameOrder(const Geometry& geometry) {
    std::vector<int> order(static_cast<std::size_t>(geometry.numAtoms));
    std::iota(order.begin(), order.end(), 0);
    return order;
}

const auto sameCell = [](const std::array<Place, 3>& cell) { return cell; };
const auto samePlace = [](const Place& place) { return place; };

TEST(NNArchInvariance, TranslationChangesNothing) {
    Evaluator evaluator(2);
    const EvaluatedGeometry before = evaluator(evaluator.geometry());
    Geometry moved = transformed(
        evaluator.geometry(),
        [](Place p) {
            return Place{p[0] + 3.1, p[1] - 4.7, p[2] + 1.9};
        },
        sameCell, sameOrder(evaluator.geometry()));

    const EvaluatedGeometry after = evaluator(moved);

    EXPECT_LE(worstError(after.energies, before.energies), 2.0e-5);
    EXPECT_LE(worstError(after.forces, before.forces), 1.0e-4);
}

TEST(NNArchInvariance, RotationTurnsTheForces) {
    Evaluator evaluator(2);
    const EvaluatedGeometry before = evaluator(evaluator.geometry());
    // About (1, 1, 1) by 50 degrees.
    const double c = std::cos(50.0 * M_PI / 180.0);
    const double s = std::sin(50.0 * M_PI / 180.0) / std::sqrt(3.0);
    const double d = (1.0 - c) / 3.0;
    const auto rotate = [=](Place p) {
        return Place{(c + d) * p[0] + (d - s) * p[1] + (d + s) * p[2],
                     (d + s) * p[0] + (c + d) * p[1] + (d - s) * p[2],
                     (d - s) * p[0] + (d + s) * p[1] + (c + d) * p[2]};
    };
    Geometry turned = transformed(
        evaluator.geometry(), rotate,
        [&](std::array<Place, 3> cell) {
            return std::array<Place, 3>{rotate(cell[0]), rotate(cell[1]), rotate(cell[2])};
        },
        sameOrder(evaluator.geometry()));

    const EvaluatedGeometry after = evaluator(turned);

    std::vector<double> want;
    for (std::size_t i = 0; i < before.forces.size(); i += 3) {
        const Place force =
            rotate({static_cast<double>(before.forces[i]), static_cast<double>(before.forces[i + 1]),
                    static_cast<double>(before.forces[i + 2])});
        want.insert(want.end(), force.begin(), force.end());
    }
    EXPECT_LE(worstError(after.energies, before.energies), 2.0e-5);
    EXPECT_LE(worstError(after.forces, want), 1.0e-4);
}

TEST(NNArchInvariance, PermutationReordersTheResults) {
    Evaluator evaluator(2);
    const EvaluatedGeometry before = evaluator(evaluator.geometry());
    const std::vector<int> order{3, 5, 0, 4, 2, 1};
    Geometry permuted = transformed(evaluator.geometry(), samePlace, sameCell, order);

    const EvaluatedGeometry after = evaluator(permuted);

    std::vector<float> energies;
    std::vector<float> forces;
    for (const int from : order) {
        const auto atom = static_cast<std::size_t>(from);
        energies.push_back(before.energies[atom]);
        forces.insert(forces.end(), before.forces.begin() + 3 * from, before.forces.begin() + 3 * from + 3);
    }
    EXPECT_LE(worstError(after.energies, energies), 2.0e-5);
    EXPECT_LE(worstError(after.forces, forces), 1.0e-4);
}

TEST(NNArchInvariance, TheChoiceOfTheCellDoesNotMatter) {
    Evaluator evaluator(2);
    const EvaluatedGeometry before = evaluator(evaluator.geometry());
    Geometry other = transformed(
        evaluator.geometry(), samePlace,
        [](std::array<Place, 3> cell) {
            for (std::size_t c = 0; c < 3; ++c) {
                cell[1][c] += cell[0][c];
                cell[2][c] -= cell[1][c];
            }
            return cell;
        },
        sameOrder(evaluator.geometry()));

    const EvaluatedGeometry after = evaluator(other);

    EXPECT_LE(worstError(after.energies, before.energies), 2.0e-5);
    EXPECT_LE(worstError(after.forces, before.forces), 1.0e-4);
}

TEST(NNArchInvariance, TwoCellsHaveTwiceTheEnergy) {
    Evaluator evaluator(2);
    const Geometry& one = evaluator.geometry();
    const EvaluatedGeometry before = evaluator(evaluator.geometry());
    std::array<float, 9> lattice = one.lattice;
    for (std::size_t c = 0; c < 3; ++c) {
        lattice[c] *= 2.0f;
    }
    Geometry two(lattice, 2 * one.numAtoms, true);
    for (int a = 0; a < two.numAtoms; ++a) {
        const auto from = static_cast<std::size_t>(a / 2);
        const float shift = a % 2 == 0 ? 0.0f : 1.0f;
        const auto place = [&](std::size_t c) {
            return one.positions[3 * from + c] + shift * one.lattice[c];
        };
        two.setAtom(a, one.elements[from], 1, place(0), place(1), place(2), 0.0f, 0.0f, 0.0f, 0.0, 0.0f);
    }
    two.haveSetAtoms(ArchFixture::rcut, false);

    const EvaluatedGeometry after = evaluator(two);

    for (std::size_t a = 0; a < before.energies.size(); ++a) {
        EXPECT_NEAR(after.energies[2 * a], before.energies[a], 2.0e-5f);
        EXPECT_NEAR(after.energies[2 * a + 1], before.energies[a], 2.0e-5f);
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(after.forces[6 * a + c], before.forces[3 * a + c], 1.0e-4f);
            EXPECT_NEAR(after.forces[6 * a + 3 + c], before.forces[3 * a + c], 1.0e-4f);
        }
    }
}

TEST(NNArchInvariance, ForcesAddUpToZero) {
    Evaluator evaluator(2);
    for (const auto& geometry : evaluator.fixture.set.geometries) {
        const EvaluatedGeometry result = evaluator(*geometry);

        std::array<double, 3> sum{};
        double largest = 0.0;
        for (std::size_t i = 0; i < result.forces.size(); ++i) {
            sum[i % 3] += static_cast<double>(result.forces[i]);
            largest = std::max(largest, std::abs(static_cast<double>(result.forces[i])));
        }
        EXPECT_GT(largest, 0.01);
        for (const double component : sum) {
            EXPECT_LE(std::abs(component), 1.0e-5 * largest);
        }
    }
}

// Central differences of the total energy with two steps, extrapolated.
TEST(NNArchInvariance, ForcesAreTheNegativeSlopeOfTheEnergy) {
    for (const int numElems : {1, 2}) {
        Evaluator evaluator(numElems);
        Geometry& geometry = evaluator.geometry();
        const EvaluatedGeometry result = evaluator(geometry);
        const auto slope = [&](float& coordinate, float step) {
            const float kept = coordinate;
            coordinate = kept + step;
            const float above = coordinate;
            geometry.updateNeighbors(ArchFixture::rcut);
            const double higher = evaluator(geometry).total;
            coordinate = kept - step;
            const auto width = static_cast<double>(above) - static_cast<double>(coordinate);
            geometry.updateNeighbors(ArchFixture::rcut);
            const double lower = evaluator(geometry).total;
            coordinate = kept;
            return (higher - lower) / width;
        };

        std::vector<double> numerical;
        for (float& coordinate : geometry.positions) {
            numerical.push_back(-(4.0 * slope(coordinate, 0.01f) - slope(coordinate, 0.02f)) / 3.0);
        }

        EXPECT_LE(worstError(result.forces, numerical), 1.0e-3) << numElems << " elements";
    }
}

TEST(NNArchInvariance, ThreadsDoNotMatter) {
    Evaluator evaluator(2);
    EvaluatedGeometry serial;
    {
        const test::ThreadCount threads(1);
        serial = evaluator(evaluator.geometry());
    }
    for (const int numThreads : {2, 4, 9}) {
        const test::ThreadCount threads(numThreads);

        const EvaluatedGeometry parallel = evaluator(evaluator.geometry());

        EXPECT_LE(worstError(parallel.energies, serial.energies), 1.0e-6);
        EXPECT_LE(worstError(parallel.forces, serial.forces), 2.0e-6);
        EXPECT_EQ(evaluator(evaluator.geometry()).forces, parallel.forces);
    }
}

} // namespace
} // namespace melta
