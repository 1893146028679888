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

TEST(NeighborStore, AppendedListsTakeKeptMemory) {
    const List lists[] = {makeList(3, 10), {}, makeList(2, 20)};
    NeighborStore store;
    store.assign(makeLists(lists));
    const std::size_t capacity = store.capacity();

    store.startOver();
    EXPECT_TRUE(store.empty());
    for (const std::size_t i : {2U, 1U}) {
        store.append(lists[i]);
    }

    EXPECT_EQ(listOf(store, 0), lists[2]);
    EXPECT_EQ(listOf(store, 1), lists[1]);
    EXPECT_EQ(store.capacity(), capacity);
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

// Long and short lists in turn, and once the longest possible.
TEST(NeighborStore, ManyReplacementsNeedNoMoreMemory) {
    constexpr std::size_t numAtoms = 50;
    constexpr std::size_t longest = 60;
    std::mt19937 random(3);
    std::uniform_int_distribution<std::size_t> drawAtom(0, numAtoms - 1);
    std::uniform_int_distribution<std::size_t> drawSize(0, longest);
    std::vector<List> lists(numAtoms);
    NeighborStore store;
    store.assign(makeLists(lists));
    std::size_t early = 0;

    for (int i = 0; i < 20000; ++i) {
        const std::size_t atom = drawAtom(random);
        lists[atom] = makeList(i < 2000 && i % 2 == 0 ? longest : drawSize(random), i);
        store.replace(atom, lists[atom]);
        early = i == 2000 ? store.capacity() : early;
    }

    for (std::size_t i = 0; i < lists.size(); ++i) {
        EXPECT_EQ(listOf(store, i), lists[i]);
    }
    EXPECT_EQ(store.capacity(), early);
    // Stretches of up to 90 entries, of the lost ones less than twice as many, and a vector that has doubled.
    EXPECT_LE(store.capacity(), 2 * 3 * 90 * numAtoms);
}

} // namespace
} // namespace melta
