#include "symmfunc/SymmFunc.hpp"

#include "base/AlignedBuffer.hpp"
#include "base/Reporting.hpp"
#include "structure/Geometry.hpp"
#include "structure/NeighborArrays.hpp"

#include <numeric>

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
    if (!symmDiff.empty() && symmDiff.size() < diffSize(geometry.getNeighbors(iatom).size())) {
        stopWithMessage("symmDiff is too short.");
    }
}

void SymmFunc::calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                                 std::span<float> byPositions) const {
    thread_local AlignedBuffer<float> work;
    const auto length = static_cast<std::size_t>(numBasis);
    const std::size_t numNeighbors = neighbors.size();
    work.reserve(length + diffSize(numNeighbors));
    const std::span<float> derivatives = work.span().subspan(length, diffSize(numNeighbors));
    calculateAtom(neighbors, work.span().first(length), derivatives);
    for (std::size_t row = 0; row < 3 * numNeighbors; ++row) {
        const std::span<const float> slopes = derivatives.subspan((row + 3) * length, length);
        byPositions[row % 3 * numNeighbors + row / 3] =
            std::inner_product(slopes.begin(), slopes.end(), byValues.begin(), 0.0f);
    }
}

} // namespace melta
