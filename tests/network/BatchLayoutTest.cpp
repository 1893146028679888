#include "network/BatchLayout.hpp"

#include "network/BatchFixture.hpp"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <numeric>
#include <set>

namespace melta {
namespace {

using Cut = BatchLayout::Cut;

// Geometries of these many atoms, in sparse cells so that their work is about their number of atoms.
struct Batch {
    Batch(std::span<const int> sizes, int numElems) {
        unsigned seed = 3;
        for (const int size : sizes) {
            owned.push_back(std::make_unique<Geometry>(test::makeGeometry(size, numElems, seed++, 3.0f)));
            geometries.push_back(owned.back().get());
        }
    }

    std::vector<std::unique_ptr<Geometry>> owned;
    std::vector<Geometry*> geometries;
};

constexpr std::array<int, 7> someSizes{4, 1, 7, 3, 12, 2, 5};
constexpr std::array<int, 4> someThreads{1, 2, 3, 16};

std::size_t workOf(const Batch& batch, std::span<const BatchTile> tiles) {
    std::size_t work = 0;
    for (const BatchTile& tile : tiles) {
        for (const BatchTile::Piece& piece : tile.pieces) {
            for (std::size_t a = piece.firstAtom; a < piece.firstAtom + piece.numAtoms; ++a) {
                const int atom = static_cast<int>(a);
                work += 32 + static_cast<std::size_t>(batch.geometries[piece.geometry]->numNeighbors(atom));
            }
        }
    }
    return work;
}

TEST(BatchLayout, IsEmptyAtFirst) {
    const BatchLayout layout;

    EXPECT_TRUE(layout.getTiles().empty());
    EXPECT_EQ(layout.getNumThreads(), 0);
    EXPECT_EQ(layout.getNumAtoms(), 0U);
    EXPECT_EQ(layout.getGeometryStart(), (std::vector<std::size_t>{0}));
}

TEST(BatchLayout, CountsAtoms) {
    const Batch batch(someSizes, 2);

    const BatchLayout layout(3, batch.geometries, 2, Cut::geometries);

    EXPECT_EQ(layout.getNumAtoms(), 34U);
    EXPECT_EQ(layout.getGeometryStart(), (std::vector<std::size_t>{0, 4, 5, 12, 15, 27, 29, 34}));
}

TEST(BatchLayout, HoldsEachAtomOnceInOrder) {
    const Batch batch(someSizes, 2);
    for (const int numThreads : someThreads) {
        for (const Cut cut : {Cut::geometries, Cut::atoms}) {
            const BatchLayout layout(2, batch.geometries, numThreads, cut);

            std::vector<std::pair<std::size_t, std::size_t>> atoms;
            for (int thread = 0; thread < layout.getNumThreads(); ++thread) {
                for (const BatchTile& tile : layout.tilesOfThread(thread)) {
                    for (const BatchTile::Piece& piece : tile.pieces) {
                        for (std::size_t a = 0; a < piece.numAtoms; ++a) {
                            atoms.emplace_back(piece.geometry, piece.firstAtom + a);
                        }
                    }
                }
            }
            std::vector<std::pair<std::size_t, std::size_t>> want;
            for (std::size_t g = 0; g < someSizes.size(); ++g) {
                for (std::size_t a = 0; a < static_cast<std::size_t>(someSizes[g]); ++a) {
                    want.emplace_back(g, a);
                }
            }
            EXPECT_EQ(layout.getNumThreads(), numThreads);
            EXPECT_EQ(atoms, want);
        }
    }
}

void expectConsistentTile(const BatchTile& tile, const Batch& batch, std::size_t numElems) {
    std::size_t atoms = 0;
    std::set<std::size_t> columns;
    for (const BatchTile::Piece& piece : tile.pieces) {
        const Geometry& geometry = *batch.geometries[piece.geometry];
        EXPECT_EQ(piece.firstLocal, atoms);
        EXPECT_GT(piece.numAtoms, 0U);
        for (std::size_t a = 0; a < piece.numAtoms; ++a) {
            const auto element = static_cast<std::size_t>(geometry.elements[piece.firstAtom + a]);
            const std::size_t column = tile.columnOfAtom[piece.firstLocal + a];
            columns.insert(column);
            EXPECT_GE(column, tile.elementStart[element]);
            EXPECT_LT(column, tile.elementStart[element + 1]);
        }
        atoms += piece.numAtoms;
    }
    EXPECT_EQ(tile.numAtoms, atoms);
    EXPECT_EQ(tile.columnOfAtom.size(), atoms);
    EXPECT_EQ(columns.size(), atoms);
    ASSERT_EQ(tile.elementStart.size(), numElems + 1);
    EXPECT_EQ(tile.elementStart.front(), 0U);
    EXPECT_EQ(tile.elementStart.back(), atoms);
}

TEST(BatchLayout, PutsTheAtomsOfAnElementSideBySide) {
    const Batch batch(someSizes, 2);
    for (const int numThreads : someThreads) {
        for (const Cut cut : {Cut::geometries, Cut::atoms}) {
            const BatchLayout layout(3, batch.geometries, numThreads, cut);

            for (const BatchTile& tile : layout.getTiles()) {
                expectConsistentTile(tile, batch, 3);
            }
        }
    }
}

TEST(BatchLayout, KeepsGeometriesWholeUnlessAtomsAreCut) {
    const Batch batch(someSizes, 2);

    const BatchLayout layout(2, batch.geometries, 16, Cut::geometries);

    for (const BatchTile& tile : layout.getTiles()) {
        for (const BatchTile::Piece& piece : tile.pieces) {
            EXPECT_EQ(piece.firstAtom, 0U);
            EXPECT_EQ(piece.numAtoms, static_cast<std::size_t>(someSizes[piece.geometry]));
        }
    }
}

TEST(BatchLayout, CutsOneGeometryEvenly) {
    constexpr std::array<int, 1> oneSize{30};
    const Batch batch(oneSize, 1);

    const BatchLayout whole(1, batch.geometries, 4, Cut::geometries);
    const BatchLayout cut(1, batch.geometries, 4, Cut::atoms);

    EXPECT_EQ(whole.getTiles().size(), 1U);
    ASSERT_EQ(cut.getTiles().size(), 4U);
    for (int thread = 0; thread < 4; ++thread) {
        ASSERT_EQ(cut.tilesOfThread(thread).size(), 1U);
        EXPECT_EQ(cut.tilesOfThread(thread).front().numAtoms, thread < 3 ? 8U : 6U);
    }
}

TEST(BatchLayout, BalancesTheWorkOfThreads) {
    std::vector<int> sizes;
    for (int i = 0; i < 120; ++i) {
        sizes.push_back(1 + i * 5 % 7);
    }
    const Batch batch(sizes, 2);
    const BatchLayout all(2, batch.geometries, 1, Cut::geometries);
    const std::size_t total = workOf(batch, all.getTiles());
    for (const int numThreads : {2, 3, 8}) {
        const BatchLayout layout(2, batch.geometries, numThreads, Cut::geometries);

        // No share strays by more than the work of one geometry.
        const auto fair = static_cast<double>(total) / numThreads;
        for (int thread = 0; thread < numThreads; ++thread) {
            const auto share = static_cast<double>(workOf(batch, layout.tilesOfThread(thread)));
            EXPECT_LE(std::abs(share - fair), 7.0 * (32.0 + 40.0)) << thread << " of " << numThreads;
        }
    }
}

TEST(BatchLayout, LimitsTheAtomsOfATile) {
    std::vector<int> sizes(60, 5);
    sizes.push_back(28);
    const Batch batch(sizes, 2);

    const BatchLayout layout(2, batch.geometries, 1, Cut::geometries);

    EXPECT_EQ(layout.getTiles().size(), 4U);
    for (const BatchTile& tile : layout.getTiles()) {
        EXPECT_LE(tile.numAtoms, 96U);
    }
}

TEST(BatchLayout, LeavesThreadsIdleWhenThereAreTooMany) {
    constexpr std::array<int, 2> fewSizes{1, 1};
    const Batch batch(fewSizes, 1);

    const BatchLayout layout(1, batch.geometries, 5, Cut::atoms);

    EXPECT_EQ(layout.getNumThreads(), 5);
    EXPECT_EQ(layout.getTiles().size(), 2U);
}

} // namespace
} // namespace melta
