#include "structure/Geometry.hpp"

#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <random>
#include <type_traits>

namespace melta {
namespace {

using test::stopMessageOf;
using test::ThreadCount;

const std::array<float, 9> cube{10, 0, 0, 0, 10, 0, 0, 0, 10};
const std::array<float, 9> skewed{7.1f, 0.3f, -0.2f, 2.9f, 6.4f, 0.1f, -1.7f, 3.3f, 8.2f};

static_assert(!std::is_copy_constructible_v<Geometry> && !std::is_copy_assignable_v<Geometry>);
static_assert(std::is_nothrow_move_constructible_v<Geometry>);

// One atom at a place, wrapped.
std::array<float, 3> wrapped(const std::array<float, 9>& lattice, const std::array<float, 3>& p) {
    Geometry geometry(lattice, 1, false);
    geometry.setAtom(0, 0, 1, p[0], p[1], p[2], 0, 0, 0, 0.0, 0);
    geometry.haveSetAtoms(0.0f, false);
    return {geometry.positions[0], geometry.positions[1], geometry.positions[2]};
}

// Atoms at random places of the skewed cell, not nearer than 1.2 Angstrom, with charges between -1 and 1.
Geometry makeCharged(int numAtoms) {
    Geometry geometry(skewed, numAtoms, true);
    std::mt19937 random(11);
    std::uniform_real_distribution<float> fraction(0.05f, 0.95f);
    std::uniform_real_distribution<float> charge(-1.0f, 1.0f);
    for (int i = 0; i < numAtoms; ++i) {
        const float a = fraction(random);
        const float b = fraction(random);
        const float c = fraction(random);
        const auto along = [&](std::size_t axis) {
            return a * skewed[axis] + b * skewed[3 + axis] + c * skewed[6 + axis];
        };
        geometry.setAtom(i, 0, 1, along(0), along(1), along(2), 0.5f, -0.25f, 0.125f, 2.0 + i,
                         charge(random));
    }
    geometry.energyTotal = 100.0;
    return geometry;
}

TEST(Geometry, StartsEmpty) {
    const Geometry geometry(cube, 2, true);

    EXPECT_EQ(geometry.numAtoms, 2);
    EXPECT_TRUE(geometry.hasAtomEnergy);
    EXPECT_EQ(geometry.energyTotal, 0.0);
    EXPECT_EQ(geometry.lattice, cube);
    EXPECT_EQ(geometry.positions, std::vector<float>(6, 0.0f));
    EXPECT_EQ(geometry.forces.size(), 6U);
    EXPECT_EQ(geometry.elements.size(), 2U);
    EXPECT_EQ(geometry.atomNumbers.size(), 2U);
    EXPECT_EQ(geometry.energies.size(), 2U);
    EXPECT_EQ(geometry.charges.size(), 2U);
    EXPECT_FALSE(geometry.hasNeighbors());
    EXPECT_EQ(geometry.numNeighbors(1), 0);
    EXPECT_TRUE(geometry.getNeighbors(0).empty());
}

TEST(Geometry, RefusesToStartWithoutCellOrAtoms) {
    EXPECT_EQ(stopMessageOf([] { Geometry({}, 1, false); }), "lattice is null.");
    EXPECT_EQ(stopMessageOf([] { Geometry(std::span(cube).first(8), 1, false); }), "lattice is null.");
    EXPECT_EQ(stopMessageOf([] { Geometry(cube, 0, false); }), "number of atoms is not positive.");
    EXPECT_EQ(stopMessageOf([] { Geometry(cube, -5, false); }), "number of atoms is not positive.");
}

TEST(Geometry, StoresAtoms) {
    Geometry geometry(cube, 2, false);

    geometry.setAtom(1, 3, 26, 1, 2, 3, 4, 5, 6, 7.5, 8.5f);

    EXPECT_EQ(geometry.elements, (std::vector<std::int32_t>{0, 3}));
    EXPECT_EQ(geometry.atomNumbers, (std::vector<std::int32_t>{0, 26}));
    EXPECT_EQ(geometry.positions, (std::vector<float>{0, 0, 0, 1, 2, 3}));
    EXPECT_EQ(geometry.forces, (std::vector<float>{0, 0, 0, 4, 5, 6}));
    EXPECT_EQ(geometry.energies, (std::vector<double>{0.0, 7.5}));
    EXPECT_EQ(geometry.charges, (std::vector<float>{0, 8.5f}));
    for (const int index : {-1, 2, 1000000}) {
        EXPECT_EQ(stopMessageOf([&] { geometry.setAtom(index, 0, 1, 0, 0, 0, 0, 0, 0, 0.0, 0); }),
                  "index of atom is out of range.");
    }
}

TEST(Geometry, InvertsTheCell) {
    Geometry geometry(skewed, 1, false);

    geometry.haveSetAtoms(0.0f, false);

    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            double product = 0.0;
            for (std::size_t k = 0; k < 3; ++k) {
                product += static_cast<double>(skewed[3 * row + k]) *
                           static_cast<double>(geometry.invLattice[3 * k + column]);
            }
            EXPECT_LE(std::abs(product - (row == column ? 1.0 : 0.0)), 1.0e-6) << row << " " << column;
        }
    }
}

TEST(Geometry, RefusesACellOfNoVolume) {
    const auto stopOf = [](const std::array<float, 9>& lattice) {
        return stopMessageOf([&] { Geometry(lattice, 1, false).haveSetAtoms(2.0f, false); });
    };

    EXPECT_EQ(stopOf({0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 0.2f}), "volume of lattice is zero.");
    EXPECT_EQ(stopOf({0, 0, 0, 0, 0, 0, 0, 0, 0}), "volume of lattice is zero.");
    EXPECT_EQ(stopOf({1, 2, 3, 2, 4, 6, 0, 0, 1}), "volume of lattice is zero.");
    EXPECT_EQ(stopOf({0, 0.5f, 0, 0.5f, 0, 0, 0, 0, 0.41f}), "(no stop)");
}

TEST(Geometry, RefusesACellThatSinglePrecisionCannotInvert) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const auto stopOf = [](const std::array<float, 9>& lattice) {
        return stopMessageOf([&] { Geometry(lattice, 1, false).haveSetAtoms(2.0f, false); });
    };

    EXPECT_EQ(stopOf({1.0e30f, 0, 0, 0, 1.0e30f, 0, 0, 0, 1.0e30f}), "inverse of lattice is not finite.");
    EXPECT_EQ(stopOf({1.0e15f, 0, 0, 0, 1.0e15f, 0, 0, 0, 1.0e15f}), "inverse of lattice is not finite.");
    EXPECT_EQ(stopOf({1.0e20f, 0, 0, 0, 1.0e20f, 0, 0, 0, 1.0e-20f}), "inverse of lattice is not finite.");
    EXPECT_EQ(stopOf({nan, 0, 0, 0, 1, 0, 0, 0, 1}), "inverse of lattice is not finite.");
    EXPECT_EQ(stopOf({infinity, 0, 0, 0, 1, 0, 0, 0, 1}), "inverse of lattice is not finite.");
}

TEST(Geometry, WrapsAtomsIntoTheCell) {
    EXPECT_EQ(wrapped(cube, {10, 10, 10}), (std::array<float, 3>{0, 0, 0}));
    EXPECT_EQ(wrapped(cube, {10, 3, 0}), (std::array<float, 3>{0, 3, 0}));
    const auto fromBelow = wrapped(cube, {-2.5f, 12.5f, -20});
    EXPECT_LE(std::abs(fromBelow[0] - 7.5f), 1.0e-5f);
    EXPECT_LE(std::abs(fromBelow[1] - 2.5f), 1.0e-5f);
    EXPECT_LE(std::abs(fromBelow[2]), 1.0e-5f);
}

TEST(Geometry, WrapsByWholeVectorsOfASkewedCell) {
    const std::array<float, 3> inside{3.0f, 4.0f, 3.0f};
    const std::array<float, 3> shift{2, -3, 1};
    std::array<float, 3> outside = inside;
    for (std::size_t c = 0; c < 3; ++c) {
        outside[c] += shift[0] * skewed[c] + shift[1] * skewed[3 + c] + shift[2] * skewed[6 + c];
    }

    const auto result = wrapped(skewed, outside);

    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_LE(std::abs(result[c] - inside[c]), 2.0e-5f) << c;
    }
}

TEST(Geometry, KeepsTheDigitsOfAtomsInside) {
    Geometry geometry = makeCharged(200);
    const std::vector<float> before = geometry.positions;

    geometry.haveSetAtoms(0.0f, false);

    EXPECT_EQ(geometry.positions, before);
}

TEST(Geometry, MakesListsOnlyForAPositiveCutoff) {
    Geometry geometry = makeCharged(3);
    geometry.haveSetAtoms(0.0f, false);
    EXPECT_FALSE(geometry.hasNeighbors());

    geometry.updateAtoms(4.0f);
    EXPECT_TRUE(geometry.hasNeighbors());
    EXPECT_GT(geometry.numNeighbors(0), 0);

    geometry.deleteNeighbors();
    EXPECT_FALSE(geometry.hasNeighbors());
    EXPECT_EQ(geometry.numNeighbors(0), 0);
    EXPECT_EQ(stopMessageOf([&] { geometry.updateAtoms(0.0f); }),
              "cutoff radius is not positive for detecting neighbors.");
}

TEST(Geometry, FollowsAMovedAtom) {
    Geometry geometry = makeCharged(4);
    geometry.haveSetAtoms(5.0f, false);
    for (std::size_t c = 0; c < 3; ++c) {
        geometry.positions[c] += skewed[c];
    }
    const std::vector<float> moved = geometry.positions;

    geometry.updateNeighbors(5.0f);
    EXPECT_EQ(geometry.positions, moved);

    geometry.updateAtoms(5.0f);
    EXPECT_NE(geometry.positions, moved);
    Geometry fresh = makeCharged(4);
    fresh.haveSetAtoms(5.0f, false);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(geometry.numNeighbors(i), fresh.numNeighbors(i));
    }
}

TEST(Geometry, PlacesNeighborsByCellVectors) {
    Geometry geometry(skewed, 1, false);
    geometry.setAtom(0, 0, 1, 1, 2, 3, 0, 0, 0, 0.0, 0);

    const auto position = geometry.computeNeighborPosition({0, 1, -2, 3});

    for (std::size_t c = 0; c < 3; ++c) {
        const float expected = geometry.positions[c] + skewed[c] - 2 * skewed[3 + c] + 3 * skewed[6 + c];
        EXPECT_LE(std::abs(position[c] - expected), 1.0e-5f) << c;
    }
}

// Cut-off Coulomb energy of each atom in double precision, over the lists of a geometry; `shift` moves atom 0
// along x.
std::vector<double> coulombEnergies(const Geometry& geometry, double rcut, double shift) {
    std::vector<double> energies(static_cast<std::size_t>(geometry.numAtoms), 0.0);
    const auto coordinate = [&](std::size_t atom, std::size_t c) {
        return static_cast<double>(geometry.positions[3 * atom + c]) + (atom == 0 && c == 0 ? shift : 0.0);
    };
    for (int i = 0; i < geometry.numAtoms; ++i) {
        const auto own = static_cast<std::size_t>(i);
        for (const Neighbor& n : geometry.getNeighbors(i)) {
            const auto other = static_cast<std::size_t>(n.atom);
            double square = 0.0;
            for (std::size_t c = 0; c < 3; ++c) {
                const double d = coordinate(other, c) + n.ia * static_cast<double>(skewed[c]) +
                                 n.ib * static_cast<double>(skewed[3 + c]) +
                                 n.ic * static_cast<double>(skewed[6 + c]) - coordinate(own, c);
                square += d * d;
            }
            const double r = std::sqrt(square);
            if (r < rcut) {
                const double charges =
                    static_cast<double>(geometry.charges[own]) * static_cast<double>(geometry.charges[other]);
                energies[own] +=
                    0.5 * 14.399644 * charges / r * 0.5 * (1.0 + std::cos(std::numbers::pi * r / rcut));
            }
        }
    }
    return energies;
}

double sumOf(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values) {
        sum += value;
    }
    return sum;
}

TEST(Geometry, AddsTheShortCoulombEnergy) {
    for (const float rcut : {6.0f, 4.0f}) {
        Geometry geometry = makeCharged(12);
        geometry.haveSetAtoms(6.0f, false);
        const auto expected = coulombEnergies(geometry, static_cast<double>(rcut), 0.0);

        geometry.removeShortCoulomb(rcut);

        EXPECT_LE(std::abs(geometry.energyTotal - 100.0 - sumOf(expected)), 1.0e-4);
        EXPECT_GT(std::abs(sumOf(expected)), 0.1);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_LE(std::abs(geometry.energies[i] - 2.0 - static_cast<double>(i) - expected[i]), 1.0e-4)
                << i;
        }
    }
}

TEST(Geometry, TakesTheSlopeOfThatEnergyFromTheForces) {
    Geometry geometry = makeCharged(12);
    geometry.haveSetAtoms(6.0f, false);
    const double step = 1.0e-4;
    const double slope =
        (sumOf(coulombEnergies(geometry, 6.0, step)) - sumOf(coulombEnergies(geometry, 6.0, -step))) /
        (2.0 * step);

    geometry.removeShortCoulomb(6.0f);

    EXPECT_GT(std::abs(slope), 0.1);
    EXPECT_LE(std::abs(static_cast<double>(geometry.forces[0]) - 0.5 + slope),
              1.0e-4 * std::max(1.0, std::abs(slope)));
    for (std::size_t c = 0; c < 3; ++c) {
        double sum = 0.0;
        for (std::size_t i = 0; i < 12; ++i) {
            sum += static_cast<double>(geometry.forces[3 * i + c]);
        }
        EXPECT_LE(std::abs(sum - 12.0 * std::array{0.5, -0.25, 0.125}[c]), 1.0e-3) << c;
    }
}

TEST(Geometry, ConditionsWithShortCoulomb) {
    Geometry inOne = makeCharged(5);
    Geometry inTwo = makeCharged(5);

    inOne.haveSetAtoms(5.0f, true);
    inTwo.haveSetAtoms(5.0f, false);
    inTwo.removeShortCoulomb(5.0f);

    EXPECT_EQ(inOne.energyTotal, inTwo.energyTotal);
    EXPECT_NE(inOne.energyTotal, 100.0);
    EXPECT_EQ(inOne.forces, inTwo.forces);
    for (const float rcut : {0.0f, -2.0f}) {
        EXPECT_EQ(stopMessageOf([&] { makeCharged(2).haveSetAtoms(rcut, true); }),
                  "cannot calculate short-coulomb, because cutoff is not positive.");
    }
}

TEST(Geometry, GivesTheSameWithManyThreads) {
    Geometry expected = makeCharged(37);
    {
        const ThreadCount one(1);
        expected.haveSetAtoms(6.0f, true);
    }
    for (const int count : {2, 5}) {
        const ThreadCount several(count);
        Geometry geometry = makeCharged(37);

        geometry.haveSetAtoms(6.0f, true);

        EXPECT_EQ(geometry.positions, expected.positions);
        EXPECT_EQ(geometry.forces, expected.forces);
        EXPECT_EQ(geometry.energies, expected.energies);
        EXPECT_EQ(geometry.energyTotal, expected.energyTotal);
    }
}

TEST(Geometry, KeepsItsListsWhenMoved) {
    Geometry geometry = makeCharged(4);
    geometry.haveSetAtoms(5.0f, false);
    const int length = geometry.numNeighbors(2);

    const Geometry target = std::move(geometry);

    EXPECT_EQ(target.numNeighbors(2), length);
    EXPECT_GT(length, 0);
}

} // namespace
} // namespace melta
