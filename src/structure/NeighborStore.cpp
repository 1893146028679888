#include "structure/NeighborStore.hpp"

#include "structure/NeighborSearch.hpp"

#include <algorithm>
#include <utility>

namespace melta {

void NeighborStore::assign(NeighborLists lists) {
    records = std::move(lists.records);
    stretches.clear();
    stretches.reserve(lists.offsets.size() - 1);
    for (std::size_t i = 0; i + 1 < lists.offsets.size(); ++i) {
        const auto size = static_cast<std::uint32_t>(lists.offsets[i + 1] - lists.offsets[i]);
        stretches.push_back({lists.offsets[i], size, size});
    }
    numUsed = records.size();
}

void NeighborStore::clear() {
    std::vector<Neighbor>().swap(records);
    std::vector<Stretch>().swap(stretches);
    numUsed = 0;
}

void NeighborStore::replace(std::size_t atom, std::span<const Neighbor> list) {
    Stretch& stretch = stretches[atom];
    if (list.size() > stretch.room) {
        // A new stretch at the end; the old one is lost until the array is compacted.
        const std::size_t room = list.size() + list.size() / 4 + 4;
        numUsed = numUsed - stretch.room + room;
        stretch = {records.size(), 0, static_cast<std::uint32_t>(room)};
        records.resize(records.size() + room);
    }
    stretch.size = static_cast<std::uint32_t>(list.size());
    std::ranges::copy(list, records.begin() + static_cast<std::ptrdiff_t>(stretch.first));
    if (records.size() > 2 * numUsed) {
        compact();
    }
}

// Lays the stretches behind each other again.
void NeighborStore::compact() {
    std::vector<Neighbor> packed;
    packed.reserve(numUsed);
    for (Stretch& stretch : stretches) {
        const auto begin = records.begin() + static_cast<std::ptrdiff_t>(stretch.first);
        stretch.first = packed.size();
        packed.insert(packed.end(), begin, begin + stretch.room);
    }
    records = std::move(packed);
}

} // namespace melta
