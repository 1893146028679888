#include "structure/NeighborSearch.hpp"

#include "structure/NeighborCases.hpp"
#include "structure/ThreadCount.hpp"
#include "support/StopCatcher.hpp"

#include <algorithm>
#include <limits>
#include <random>
#include <tuple>

namespace melta {
namespace {

using test::Case;
using test::cases;
using test::listsOf;
using test::makeGeometry;
using test::NeighborList;
using test::stopMessageOf;
using test::ThreadCount;

// Distance in double precision between atom i and an image.
double distance(const Geometry& geometry, int i, const Neighbor& image) {
    double sum = 0.0;
    for (std::size_t c = 0; c < 3; ++c) {
        const auto own = static_cast<double>(geometry.positions[3 * static_cast<std::size_t>(i) + c]);
        const auto other =
            static_cast<double>(geometry.positions[3 * static_cast<std::size_t>(image.atom) + c]);
        const auto& lattice = geometry.lattice;
        const double d = other + image.ia * static_cast<double>(lattice[c]) +
                         image.ib * static_cast<double>(lattice[3 + c]) +
                         image.ic * static_cast<double>(lattice[6 + c]) - own;
        sum += d * d;
    }
    return std::sqrt(sum);
}

bool isBefore(const Neighbor& a, const Neighbor& b) {
    return std::tie(a.atom, a.ia, a.ib, a.ic) < std::tie(b.atom, b.ia, b.ib, b.ic);
}

// All images within `range` cells, without those so near to a limit that rounding decides.
NeighborList searchByForce(const Geometry& geometry, int i, double rcut, int range) {
    NeighborList list;
    for (int j = 0; j < geometry.numAtoms; ++j) {
        for (int ia = -range; ia <= range; ++ia) {
            for (int ib = -range; ib <= range; ++ib) {
                for (int ic = -range; ic <= range; ++ic) {
                    const double r = distance(geometry, i, {j, ia, ib, ic});
                    if (r < rcut - 1.0e-4 && r > 0.1 + 1.0e-4) {
                        list.push_back({j, ia, ib, ic});
                    }
                }
            }
        }
    }
    return list;
}

NeighborList withoutNearLimits(const Geometry& geometry, int i, double rcut) {
    NeighborList list;
    for (const Neighbor& record : geometry.getNeighbors(i)) {
        const double r = distance(geometry, i, record);
        EXPECT_LE(r, rcut + 1.0e-4);
        if (r < rcut - 1.0e-4 && r > 0.1 + 1.0e-4) {
            list.push_back(record);
        }
    }
    std::sort(list.begin(), list.end(), isBefore);
    return list;
}

// Puts an atom of the cell at a distance from an image of another one.
void putNear(Geometry& geometry, std::size_t atom, std::size_t other, float distance, std::mt19937& random) {
    std::normal_distribution<float> normal;
    std::uniform_int_distribution<int> image(-1, 1);
    std::array<float, 3> direction{normal(random), normal(random), normal(random)};
    const float length = std::hypot(direction[0], direction[1], direction[2]);
    const std::array<float, 3> shift{static_cast<float>(image(random)), static_cast<float>(image(random)),
                                     static_cast<float>(image(random))};
    for (std::size_t c = 0; c < 3; ++c) {
        geometry.positions[3 * atom + c] = geometry.positions[3 * other + c] +
                                           direction[c] / length * distance + shift[0] * geometry.lattice[c] +
                                           shift[1] * geometry.lattice[3 + c] +
                                           shift[2] * geometry.lattice[6 + c];
    }
}

bool areClose(Geometry& geometry, float rcut) {
    geometry.haveSetAtoms(rcut, false);
    return haveCloseAtoms(geometry.lattice, geometry.invLattice, geometry.positions, rcut);
}

// The same the plain way.
bool areCloseByForce(const Geometry& geometry) {
    for (int i = 0; i < geometry.numAtoms; ++i) {
        for (int j = 0; j <= i; ++j) {
            for (int image = 0; image < 27; ++image) {
                const Neighbor record{j, image / 9 - 1, image / 3 % 3 - 1, image % 3 - 1};
                if (!(record == Neighbor{i, 0, 0, 0}) && distance(geometry, i, record) < 0.1) {
                    return true;
                }
            }
        }
    }
    return false;
}

TEST(NeighborSearch, FindsWhatTryingAllImagesFinds) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Geometry geometry = makeGeometry(c, 3);

        geometry.haveSetAtoms(c.rcut, false);

        const int range = c.numAtoms > 100 ? 2 : 13;
        const int step = std::max(1, c.numAtoms / 5);
        std::size_t numFound = 0;
        for (int i = 0; i < c.numAtoms; i += step) {
            const NeighborList expected = searchByForce(geometry, i, static_cast<double>(c.rcut), range);
            EXPECT_EQ(withoutNearLimits(geometry, i, static_cast<double>(c.rcut)), expected) << "atom " << i;
            numFound += expected.size();
        }
        EXPECT_GT(numFound, 0U);
    }
}

TEST(NeighborSearch, KnowsAtomsThatAreTooClose) {
    std::mt19937 random(17);
    for (const Case& c : cases) {
        for (unsigned seed = 1; seed <= 20; ++seed) {
            SCOPED_TRACE(c.name);
            Geometry geometry = makeGeometry(c, seed);
            const bool isClose = areClose(geometry, c.rcut);
            EXPECT_EQ(isClose, areCloseByForce(geometry));
            if (c.numAtoms < 2 || isClose) {
                continue;
            }
            const auto atom = seed % static_cast<unsigned>(c.numAtoms - 1) + 1;
            for (const float r : {0.05f, 0.0995f, 0.1005f}) {
                putNear(geometry, atom, 0, r, random);

                EXPECT_EQ(areClose(geometry, c.rcut), areCloseByForce(geometry)) << r;
                EXPECT_TRUE(r > 0.1f || areClose(geometry, c.rcut)) << r;
            }
        }
    }
}

TEST(NeighborSearch, KnowsAnAtomThatIsCloseToItself) {
    for (const auto& [side, isClose] : {std::pair(0.09f, true), std::pair(0.11f, false)}) {
        Geometry geometry(std::array<float, 9>{side, 0, 0, 0, 2, 0, 0, 0, 2}, 1, false);

        EXPECT_EQ(areClose(geometry, 3.0f), isClose);
        EXPECT_FALSE(areClose(geometry, 0.1f));
    }
}

TEST(NeighborSearch, KnowsThatNoneOfManyAtomsAreClose) {
    // A perfect crystal, many atoms in each plane.
    constexpr int perSide = 20;
    constexpr float side = 1.5f;
    constexpr float length = side * perSide;
    Geometry geometry(std::array<float, 9>{length, 0, 0, 0, length, 0, 0, 0, length},
                      perSide * perSide * perSide, false);
    for (int i = 0; i < geometry.numAtoms; ++i) {
        geometry.setAtom(i, 0, 1, side * static_cast<float>(i % perSide),
                         side * static_cast<float>(i / perSide % perSide),
                         side * static_cast<float>(i / perSide / perSide), 0, 0, 0, 0.0, 0);
    }

    EXPECT_FALSE(areClose(geometry, 3.0f));
    geometry.positions[std::size_t{3} * (perSide - 1)] = length - 0.06f;
    EXPECT_TRUE(areClose(geometry, 3.0f));
}

TEST(NeighborSearch, KeepsTheOrderOfThePlainSearch) {
    for (const Case& c : cases) {
        for (unsigned seed = 1; seed <= 3; ++seed) {
            SCOPED_TRACE(c.name);
            Geometry geometry = makeGeometry(c, seed);

            geometry.haveSetAtoms(c.rcut, false);

            EXPECT_EQ(listsOf(geometry), test::searchLiterally(geometry, c.rcut));
        }
    }
}

TEST(NeighborSearch, KeepsThatOrderForAtomsOutsideTheCell) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Geometry geometry = makeGeometry(c, 5);
        geometry.haveSetAtoms(0.0f, false);
        geometry.positions = makeGeometry(c, 5).positions;

        geometry.updateNeighbors(c.rcut);

        EXPECT_EQ(listsOf(geometry), test::searchLiterally(geometry, c.rcut));
    }
}

TEST(NeighborSearch, FindsTheSameWithManyThreads) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Geometry geometry = makeGeometry(c, 7);
        {
            const ThreadCount one(1);
            geometry.haveSetAtoms(c.rcut, false);
        }
        const auto expected = listsOf(geometry);
        for (const int count : {2, 3, 8}) {
            const ThreadCount several(count);

            geometry.updateNeighbors(c.rcut);

            EXPECT_EQ(listsOf(geometry), expected) << count;
        }
    }
}

TEST(NeighborSearch, ListsImagesOfASingleAtomBelowTheCutoffOnly) {
    Geometry geometry(std::array<float, 9>{3, 0, 0, 0, 3, 0, 0, 0, 3}, 1, false);
    geometry.setAtom(0, 0, 1, 1.0f, 1.0f, 1.0f, 0, 0, 0, 0.0, 0);

    geometry.haveSetAtoms(6.0f, false);

    // 6 images at 3, 12 at 4.24 and 8 at 5.2 Angstrom; the 6 at exactly 6 are left out.
    EXPECT_EQ(geometry.numNeighbors(0), 26);
    for (const Neighbor& record : geometry.getNeighbors(0)) {
        EXPECT_EQ(record.atom, 0);
        EXPECT_NE(record, (Neighbor{0, 0, 0, 0}));
        EXPECT_LE(std::abs(record.ia) + std::abs(record.ib) + std::abs(record.ic), 3);
    }
}

TEST(NeighborSearch, LeavesOutAtomsThatAreNearlyOne) {
    for (const bool isNear : {true, false}) {
        Geometry geometry(std::array<float, 9>{20, 0, 0, 0, 20, 0, 0, 0, 20}, 2, false);
        geometry.setAtom(0, 0, 1, 5.0f, 5.0f, 5.0f, 0, 0, 0, 0.0, 0);
        geometry.setAtom(1, 0, 1, isNear ? 5.09f : 5.11f, 5.0f, 5.0f, 0, 0, 0, 0.0, 0);

        geometry.haveSetAtoms(6.0f, false);

        EXPECT_EQ(geometry.numNeighbors(0), isNear ? 0 : 1);
        EXPECT_EQ(geometry.numNeighbors(1), isNear ? 0 : 1);
    }
}

TEST(NeighborSearch, LeavesOutADistanceOfExactlyTheCutoff) {
    Geometry geometry(std::array<float, 9>{20, 0, 0, 0, 20, 0, 0, 0, 20}, 3, false);
    geometry.setAtom(0, 0, 1, 5.0f, 5.0f, 5.0f, 0, 0, 0, 0.0, 0);
    geometry.setAtom(1, 0, 1, 9.0f, 5.0f, 5.0f, 0, 0, 0, 0.0, 0);
    geometry.setAtom(2, 0, 1, 5.0f, 8.999f, 5.0f, 0, 0, 0, 0.0, 0);

    geometry.haveSetAtoms(4.0f, false);

    ASSERT_EQ(geometry.numNeighbors(0), 1);
    EXPECT_EQ(geometry.getNeighbors(0)[0], (Neighbor{2, 0, 0, 0}));
}

TEST(NeighborSearch, ReachesFarAlongASkewedVector) {
    // The second vector is long, but the faces it connects are 0.5 apart.
    Geometry geometry(std::array<float, 9>{10, 0, 0, 30, 0.5f, 0, 0, 0, 10}, 1, false);

    geometry.haveSetAtoms(4.0f, false);

    int farthest = 0;
    for (const Neighbor& record : geometry.getNeighbors(0)) {
        farthest = std::max(farthest, std::abs(record.ib));
    }
    EXPECT_EQ(farthest, 7);
    EXPECT_EQ(geometry.numNeighbors(0), 14);
}

TEST(NeighborSearch, RefusesACutoffThatIsNone) {
    for (const float rcut : {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()}) {
        Geometry geometry(std::array<float, 9>{3, 0, 0, 0, 3, 0, 0, 0, 3}, 1, false);
        geometry.haveSetAtoms(2.0f, false);

        EXPECT_EQ(stopMessageOf([&] { geometry.createNeighbors(rcut); }),
                  "cutoff radius is not positive for detecting neighbors.");
    }
}

TEST(NeighborSearch, RefusesACellThatWasNotInverted) {
    Geometry geometry(std::array<float, 9>{3, 0, 0, 0, 3, 0, 0, 0, 3}, 1, false);

    EXPECT_EQ(stopMessageOf([&] { geometry.createNeighbors(2.0f); }),
              "projected lattice length is incorrect.");
}

TEST(NeighborSearch, RefusesABinningTableWithoutBins) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::array<float, 9> unit{1, 0, 0, 0, 1, 0, 0, 0, 1};
    const std::array<float, 3> origin{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        std::array<float, 9> lattice = unit;
        lattice[4 * axis] = nan;

        const std::string message =
            stopMessageOf([&] { (void)searchNeighbors(lattice, unit, origin, 1.0f); });

        EXPECT_EQ(message, std::string(1, "xyz"[axis]) + "-dimension of binning table is not positive.");
    }
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(stopMessageOf([&] { (void)searchNeighbors(unit, unit, origin, infinity); }),
              "x-dimension of binning table is not positive.");
}

std::string stopOfCell(const std::array<float, 9>& lattice, float rcut) {
    return stopMessageOf([&] { Geometry(lattice, 1, false).haveSetAtoms(rcut, false); });
}

TEST(NeighborSearch, RefusesWhatWouldExhaustTheMemory) {
    const std::string bins = "too many bins for detecting neighbors.";
    const std::string images = "too many periodic images for detecting neighbors.";

    EXPECT_EQ(stopOfCell({1.0e12f, 0, 0, 0, 1.0e12f, 0, 0, 0, 1.0e12f}, 6.0f), bins);
    EXPECT_EQ(stopOfCell({5.0e9f, 0, 0, 0, 5.0e9f, 0, 0, 0, 5.0e9f}, 1.0f), bins);
    EXPECT_EQ(stopOfCell({5.0e3f, 0, 0, 0, 5.0e3f, 0, 0, 0, 5.0e3f}, 6.0f), bins);
    EXPECT_EQ(stopOfCell({1.0e18f, 0, 0, 0, 1, 0, 0, 0, 1}, 6.0f), bins);
    EXPECT_EQ(stopOfCell({1.0e5f, 0, 0, 0, 1.0e-3f, 0, 0, 0, 1.0e-2f}, 6.0f), images);
    EXPECT_EQ(stopOfCell({3, 0, 0, 0, 3, 0, 0, 0, 3}, 1.0e6f), images);
    EXPECT_EQ(stopOfCell({1.0e30f, 0, 0, 0, 1, 0, 0, 0, 1}, 6.0f), "projected lattice length is incorrect.");
}

TEST(NeighborSearch, RefusesMoreNeighborsThanTheMemoryTakes) {
    // Ten thousand atoms in a cubic Angstrom have some ten million neighbours each.
    const std::array<float, 9> unit{1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::vector<float> positions(3 * 10000);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> coordinate(0.0f, 1.0f);
    std::generate(positions.begin(), positions.end(), [&] { return coordinate(random); });

    EXPECT_EQ(stopMessageOf([&] { (void)searchNeighbors(unit, unit, positions, 4.0f); }),
              "too many neighbors.");
}

TEST(NeighborSearch, SurvivesAtomsFarOutsideTheTable) {
    const std::array<float, 9> cell{5, 0, 0, 0, 5, 0, 0, 0, 5};
    const std::array<float, 9> inverse{0.2f, 0, 0, 0, 0.2f, 0, 0, 0, 0.2f};
    const float infinity = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> positions{1, 1, 1, 3.0e38f, -3.0e38f, 1, infinity, 1, -infinity, nan, nan, 1};

    const NeighborLists lists = searchNeighbors(cell, inverse, positions, 3.0f);

    EXPECT_EQ(lists.offsets, (std::vector<std::size_t>{0, 0, 0, 0, 0}));
    EXPECT_TRUE(lists.records.empty());
}

} // namespace
} // namespace melta
