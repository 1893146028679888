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
}

void NeighborStore::startOver() {
    records.clear();
    stretches.clear();
}

void NeighborStore::append(std::span<const Neighbor> list) {
    const auto size = static_cast<std::uint32_t>(list.size());
    stretches.push_back({records.size(), size, size});
    records.insert(records.end(), list.begin(), list.end());
}

void NeighborStore::clear() {
    std::vector<Neighbor>().swap(records);
    std::vector<Stretch>().swap(stretches);
}

void NeighborStore::replace(std::size_t atom, std::span<const Neighbor> list) {
    Stretch& stretch = stretches[atom];
    if (list.size() > stretch.room) {
        // A new stretch at the end; the old one is lost. Each is larger than the last by half, so that all
        // that is lost is less than twice what is in use.
        const std::size_t room = list.size() + list.size() / 2;
        stretch = {records.size(), 0, static_cast<std::uint32_t>(room)};
        records.resize(records.size() + room);
    }
    stretch.size = static_cast<std::uint32_t>(list.size());
    std::ranges::copy(list, records.begin() + static_cast<std::ptrdiff_t>(stretch.first));
}

} // namespace melta
