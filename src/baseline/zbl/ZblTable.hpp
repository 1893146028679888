#pragma once

#include "baseline/zbl/ZblFile.hpp"
#include "baseline/zbl/ZblPair.hpp"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace melta {

// The ZBL repulsion of all pairs of some elements. Does not change; for concurrent use.
class ZblTable {
public:
    // `labels` of the elements, whose radii are in `entries`; a label that names no element takes no part.
    // `cutoff`: how far neighbour lists reach, Angstrom. `fileName`: where the entries are from, for
    // messages. Stops with "there are no radii of ZBL for %s and %s: %s" and "radii of ZBL for %s and %s
    // exceed the cutoff of symmetry functions: %s" (the labels, `fileName`).
    ZblTable(std::span<const std::string> labels, std::span<const ZblRadii> entries, double cutoff,
             const std::string& fileName);

    // Of two elements by their indices.
    [[nodiscard]] const ZblPair& pairOf(std::size_t element, std::size_t other) const {
        return pairs[numElems * element + other];
    }

    // The largest outer radius, Angstrom; 0 without pairs.
    [[nodiscard]] double getReach() const { return reach; }

private:
    std::size_t numElems;
    std::vector<ZblPair> pairs; // [numElems][numElems]
    double reach = 0.0;
};

} // namespace melta
