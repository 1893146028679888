#include "structure/NeighborTracker.hpp"

#include "structure/NeighborCases.hpp"
#include "support/StopCatcher.hpp"

#include <algorithm>

namespace melta {
namespace {

using test::Case;
using test::cases;
using test::listsOf;
using test::makeGeometry;
using test::NeighborList;
using test::stopMessageOf;

// A geometry in its cell, its tracker, and random moves.
class Mover {
public:
    explicit Mover(const Case& c) : geometry(makeGeometry(c, 11)), rcut(c.rcut) {
        geometry.haveSetAtoms(0.0f, false);
        tracker = std::make_unique<NeighborTracker>(geometry, rcut);
    }

    std::vector<int> drawAtoms() {
        std::uniform_int_distribution<int> atom(0, geometry.numAtoms - 1);
        std::vector<int> atoms{atom(random)};
        const int other = atom(random);
        if (other != atoms[0] && atom(random) % 2 == 0) {
            atoms.push_back(other);
        }
        return atoms;
    }

    void shift(std::span<const int> atoms) {
        std::uniform_real_distribution<float> step(-2.5f, 2.5f);
        for (const int atom : atoms) {
            for (std::size_t c = 0; c < 3; ++c) {
                geometry.positions[3 * static_cast<std::size_t>(atom) + c] += step(random);
            }
            geometry.wrapAtom(atom);
        }
    }

    std::vector<NeighborList> expectedLists() const { return test::searchLiterally(geometry, rcut); }

    Geometry geometry;
    float rcut;
    std::unique_ptr<NeighborTracker> tracker;

private:
    std::mt19937 random{5};
};

TEST(NeighborTracker, BeginsWithTheListsOfASearch) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Mover mover(c);

        EXPECT_EQ(listsOf(mover.geometry), mover.expectedLists());
    }
}

TEST(NeighborTracker, KeepsTheListsOfASearch) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Mover mover(c);
        for (int step = 0; step < 40; ++step) {
            const std::vector<int> atoms = mover.drawAtoms();
            mover.shift(atoms);

            mover.tracker->followMove(atoms);

            ASSERT_EQ(listsOf(mover.geometry), mover.expectedLists()) << "step " << step;
        }
    }
}

TEST(NeighborTracker, NamesAllAtomsWhoseSurroundingsChange) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Mover mover(c);
        int numLeftAlone = 0;
        for (int step = 0; step < 20; ++step) {
            const std::vector<NeighborList> before = listsOf(mover.geometry);
            const std::vector<int> atoms = mover.drawAtoms();
            mover.shift(atoms);

            const std::span<const int> changed = mover.tracker->followMove(atoms);

            EXPECT_TRUE(std::ranges::is_sorted(changed));
            EXPECT_EQ(std::ranges::adjacent_find(changed), changed.end());
            for (int i = 0; i < mover.geometry.numAtoms; ++i) {
                if (std::ranges::binary_search(changed, i)) {
                    continue;
                }
                const auto list = mover.geometry.getNeighbors(i);
                EXPECT_TRUE(std::ranges::equal(list, before[static_cast<std::size_t>(i)])) << i;
                for (const int moved : atoms) {
                    EXPECT_NE(i, moved);
                    EXPECT_TRUE(
                        std::ranges::none_of(list, [&](const Neighbor& n) { return n.atom == moved; }));
                }
                ++numLeftAlone;
            }
        }
        if (c.numAtoms > 100) {
            EXPECT_GT(numLeftAlone, 0) << "proves nothing";
        }
    }
}

TEST(NeighborTracker, TwoAtomsThatExchangePlaces) {
    Mover mover(cases[0]);
    const int atoms[] = {3, 60};
    std::swap_ranges(mover.geometry.positions.begin() + 9, mover.geometry.positions.begin() + 12,
                     mover.geometry.positions.begin() + 180);

    mover.tracker->followMove(atoms);

    EXPECT_EQ(listsOf(mover.geometry), mover.expectedLists());
}

TEST(NeighborTracker, AMoveThatIsTakenBack) {
    Mover mover(cases[3]);
    const std::vector<NeighborList> before = listsOf(mover.geometry);
    const std::vector<float> kept = mover.geometry.positions;
    const int atoms[] = {7};
    mover.shift(atoms);
    mover.tracker->followMove(atoms);
    ASSERT_NE(listsOf(mover.geometry), before);
    mover.geometry.positions = kept;

    mover.tracker->followMove(atoms);

    EXPECT_EQ(listsOf(mover.geometry), before);
}

// An atom nearer than 0.1 Angstrom is no neighbour, but it notices who leaves.
TEST(NeighborTracker, AtomsThatWereNearlyOne) {
    Geometry geometry(std::array<float, 9>{20, 0, 0, 0, 20, 0, 0, 0, 20}, 2, false);
    geometry.setAtom(0, 0, 1, 5.0f, 5.0f, 5.0f, 0, 0, 0, 0.0, 0);
    geometry.setAtom(1, 0, 1, 5.05f, 5.0f, 5.0f, 0, 0, 0, 0.0, 0);
    geometry.haveSetAtoms(0.0f, false);
    NeighborTracker tracker(geometry, 4.0f);
    const int moved[] = {1};
    geometry.positions[3] = 6.0f;

    const std::span<const int> changed = tracker.followMove(moved);

    EXPECT_EQ(std::vector<int>(changed.begin(), changed.end()), (std::vector<int>{0, 1}));
    ASSERT_EQ(geometry.numNeighbors(0), 1);
    EXPECT_EQ(geometry.getNeighbors(0)[0], (Neighbor{1, 0, 0, 0}));
}

TEST(NeighborTracker, StopsAsTheSearch) {
    Geometry geometry(std::array<float, 9>{3, 0, 0, 0, 3, 0, 0, 0, 3}, 1, false);
    geometry.haveSetAtoms(0.0f, false);

    EXPECT_EQ(stopMessageOf([&] { NeighborTracker(geometry, 0.0f); }),
              "cutoff radius is not positive for detecting neighbors.");
    EXPECT_EQ(stopMessageOf([&] { NeighborTracker(geometry, 1.0e6f); }),
              "too many periodic images for detecting neighbors.");
}

} // namespace
} // namespace melta
