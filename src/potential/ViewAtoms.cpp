#include "potential/ViewAtoms.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

void requireView(bool isValid, const char* complaint) {
    if (!isValid) {
        stopWithMessage("incorrect view: %s.", complaint);
    }
}

bool areFinite(const double* position) {
    return std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]);
}

bool isBelow(int index, int limit) {
    return index >= 0 && index < limit;
}

} // namespace

void ViewAtoms::update(const NeighborView& source, std::span<const std::int32_t> atomicNumbers, float reach) {
    view = source;
    atomNumbers = atomicNumbers;
    cutoff = reach;
    requireView(view.numLocal >= 0 && view.numAtoms >= view.numLocal && view.numLists >= 0,
                "numbers of atoms");
    requireView(view.numAtoms == 0 || (view.positions != nullptr && view.elements != nullptr),
                "no positions or elements");
    requireView(view.numLists == 0 || (view.neighbors != nullptr && view.lengths != nullptr),
                "no neighbour lists");
    const auto numElems = static_cast<int>(atomNumbers.size());
    for (int i = 0; i < view.numAtoms; ++i) {
        requireView(view.elements[i] < numElems, "index of an element");
        // Such an atom would pass for one that is far from all others.
        requireView(view.elements[i] < 0 || areFinite(view.positions + 3 * static_cast<std::size_t>(i)),
                    "a position that is not finite");
    }
    listOf.assign(static_cast<std::size_t>(view.numLocal), -1);
    for (int l = 0; l < view.numLists; ++l) {
        const int atom = view.atoms == nullptr ? l : view.atoms[l];
        requireView(isBelow(atom, view.numLocal), "a list of an atom that is not local");
        requireView(view.lengths[l] == 0 || (view.lengths[l] > 0 && view.neighbors[l] != nullptr),
                    "length of a list");
        const std::span list(view.neighbors[l], static_cast<std::size_t>(view.lengths[l]));
        requireView(std::ranges::all_of(
                        list, [&](int entry) { return isBelow(entry & view.entryMask, view.numAtoms); }),
                    "index of a neighbour");
        listOf[static_cast<std::size_t>(atom)] = l;
    }
    known.clear();
    for (int i = 0; i < view.numLocal; ++i) {
        if (view.elements[i] >= 0) {
            requireView(listOf[static_cast<std::size_t>(i)] >= 0, "a local atom without a list");
            known.push_back(i);
        }
    }
}

std::size_t ViewAtoms::getNumAtoms() const {
    return static_cast<std::size_t>(view.numAtoms);
}

std::size_t ViewAtoms::elementOf(int atom) const {
    return static_cast<std::size_t>(view.elements[atom]);
}

void ViewAtoms::gather(int atom, NeighborArrays& neighbors) const {
    const int list = listOf[static_cast<std::size_t>(atom)];
    const auto numAtoms = static_cast<std::size_t>(view.numAtoms);
    const HostAtoms host{
        {view.positions, 3 * numAtoms}, {view.elements, numAtoms}, atomNumbers, view.entryMask};
    neighbors.update(host, atom, {view.neighbors[list], static_cast<std::size_t>(view.lengths[list])},
                     cutoff);
}

void ViewAtoms::stopAtDescriptors(int atom) const {
    stopWithMessage("NaN at symmetry functions of the %d -th atom.", atom + 1);
}

} // namespace melta
