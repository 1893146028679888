#pragma once

#include "base/AlignedBuffer.hpp"
#include "structure/NeighborArrays.hpp"
#include "symmfunc/NeighborShell.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melta {

// Picks the neighbours inside a cutoff and sorts them by kind, so that each block of functions has its
// neighbours side by side. A kind is an element or, with weighted elements, all of them together. Keeps its
// memory from atom to atom; belongs to one thread.
class NeighborShellBuilder {
public:
    // Takes the neighbours with r below `rcut`. fc and dfc are the cutoff values of the neighbours at that
    // cutoff.
    void pickByElement(const NeighborArrays& neighbors, std::span<const float> fc, std::span<const float> dfc,
                       float rcut, int numElems);

    // The same for one kind, with fc and dfc multiplied by the atomic number, or by its root for `withRoot`.
    void pickWeighted(const NeighborArrays& neighbors, std::span<const float> fc, std::span<const float> dfc,
                      float rcut, bool withRoot);

    [[nodiscard]] const NeighborShell& shell() const { return picked; }
    [[nodiscard]] NeighborRange getRange(std::size_t kind) const { return {starts[kind], starts[kind + 1]}; }

private:
    static constexpr std::size_t numArrays = 6;

    void countKinds(const NeighborArrays& neighbors, float rcut, bool isWeighted, std::size_t numKinds);
    void reserve(std::size_t count);
    void store(const NeighborArrays& neighbors, std::size_t entry, std::size_t place, float fc, float dfc);
    void publish();

    NeighborShell picked;
    std::vector<std::size_t> starts;     // [numKinds + 1], first neighbour of each kind
    std::vector<std::size_t> places;     // [numKinds], next free place of each kind
    std::size_t stride = 0;              // distance between two arrays
    AlignedBuffer<float> values;         // [numArrays][stride]: dx, dy, dz, r, fc, dfc
    AlignedBuffer<std::int32_t> entries; // [stride]
};

} // namespace melta
