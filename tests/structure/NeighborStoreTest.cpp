#include "structure/NeighborStore.hpp"

#include "structure/NeighborSearch.hpp"

#include <gtest/gtest.h>

#include <random>

namespace melta {
namespace {

using List = std::vector<Neighbor>;

List makeList(std::size_t size, int first) {
    List list;
    for (std::size_t i = 0; i < size; ++i) {
        list.push_back({first + static_cast<int>(i), 1, 2, 3});
    }
    return list;
}

NeighborLists makeLists(std::span<const List> lists) {
    NeighborLists result{{}, {0}};
    for (const List& list : lists) {
        result.records.insert(result.records.end(), list.begin(), list.end());
        result.offsets.push_back(result.records.size());
    }
    return result;
}

List listOf(const NeighborStore& store, std::size_t atom) {
    return {store[atom].begin(), store[atom].end()};
}

TEST(NeighborStore, IsEmptyUntilListsAreAssigned) {
    NeighborStore store;
    EXPECT_TRUE(store.empty());

    const List lists[] = {makeList(3, 10), {}, makeList(2, 20)};
    store.assign(makeLists(lists));

    EXPECT_FALSE(store.empty());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(listOf(store, i), lists[i]);
    }

    store.clear();

    EXPECT_TRUE(store.empty());
    EXPECT_EQ(store.capacity(), 0U);
}

TEST(NeighborStore, ReplacedListsLeaveTheOthersAlone) {
    std::vector<List> lists{makeList(4, 10), makeList(2, 20), makeList(5, 30)};
    NeighborStore store;
    store.assign(makeLists(lists));

    for (const std::size_t size : {1U, 2U, 3U, 40U, 41U, 0U, 7U}) {
        lists[1] = makeList(size, 100 * static_cast<int>(size));
        store.replace(1, lists[1]);

        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(listOf(store, i), lists[i]) << size;
        }
    }
}

TEST(NeighborStore, ManyReplacementsNeedNoMoreMemory) {
    std::mt19937 random(3);
    std::uniform_int_distribution<std::size_t> drawAtom(0, 49);
    std::uniform_int_distribution<std::size_t> drawSize(0, 60);
    std::vector<List> lists(50);
    NeighborStore store;
    store.assign(makeLists(lists));

    for (int i = 0; i < 20000; ++i) {
        const std::size_t atom = drawAtom(random);
        lists[atom] = makeList(drawSize(random), i);
        store.replace(atom, lists[atom]);
    }

    for (std::size_t i = 0; i < lists.size(); ++i) {
        EXPECT_EQ(listOf(store, i), lists[i]);
    }
    // The longest list with its room to spare, for all atoms, twice; and vectors may take twice their size.
    EXPECT_LE(store.capacity(), 4U * 50U * 79U);
}

} // namespace
} // namespace melta
