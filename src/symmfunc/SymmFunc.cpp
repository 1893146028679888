#include "symmfunc/SymmFunc.hpp"

#include "base/Reporting.hpp"
#include "structure/Geometry.hpp"
#include "structure/NeighborArrays.hpp"

namespace melta {

SymmFunc::SymmFunc(int elems, bool withTanh, bool withWeight)
    : numElems(elems), tanhCutoff(withTanh), elemWeight(withWeight) {
    if (numElems < 1) {
        stopWithMessage("number of elements is not positive.");
    }
}

void SymmFunc::calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                         std::span<float> symmDiff) const {
    checkArguments(geometry, iatom, symmData, symmDiff);
    thread_local NeighborArrays neighbors;
    neighbors.update(geometry, iatom);
    calculateAtom(neighbors, symmData.first(static_cast<std::size_t>(numBasis)),
                  symmDiff.empty() ? symmDiff : symmDiff.first(diffSize(neighbors.size())));
}

void SymmFunc::checkArguments(const Geometry& geometry, int iatom, std::span<const float> symmData,
                              std::span<const float> symmDiff) const {
    if (iatom < 0 || iatom >= geometry.numAtoms) {
        stopWithMessage("index of atom is out of range.");
    }
    if (symmData.size() < static_cast<std::size_t>(numBasis)) {
        stopWithMessage("symmData is too short.");
    }
    if (!symmDiff.empty() && symmDiff.size() < diffSize(geometry.obtainNeighbors(iatom).size())) {
        stopWithMessage("symmDiff is too short.");
    }
}

} // namespace melta
