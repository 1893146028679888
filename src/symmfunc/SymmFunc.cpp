#include "symmfunc/SymmFunc.hpp"

#include "base/AlignedBuffer.hpp"
#include "base/Reporting.hpp"
#include "structure/Geometry.hpp"
#include "structure/NeighborArrays.hpp"

#include <algorithm>
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

std::span<const float> SymmFunc::computeDiffRows(const NeighborArrays& neighbors) const {
    thread_local AlignedBuffer<float> work;
    const auto length = static_cast<std::size_t>(numBasis);
    work.reserve(length + diffSize(neighbors.size()));
    const std::span<float> derivatives = work.span().subspan(length, diffSize(neighbors.size()));
    calculateAtom(neighbors, work.span().first(length), derivatives);
    return derivatives.subspan(3 * length);
}

void SymmFunc::calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                                 std::span<float> byPositions) const {
    const std::size_t numNeighbors = neighbors.size();
    const std::span<const float> derivatives = computeDiffRows(neighbors);
    for (std::size_t row = 0; row < 3 * numNeighbors; ++row) {
        const std::span<const float> slopes = derivatives.subspan(row * byValues.size(), byValues.size());
        byPositions[row % 3 * numNeighbors + row / 3] =
            std::inner_product(slopes.begin(), slopes.end(), byValues.begin(), 0.0f);
    }
}

void SymmFunc::calculateTangent(const NeighborArrays& neighbors, std::span<const float> directions,
                                std::span<float> changes) const {
    const std::size_t numNeighbors = neighbors.size();
    const std::span<const float> derivatives = computeDiffRows(neighbors);
    std::ranges::fill(changes, 0.0f);
    for (std::size_t row = 0; row < 3 * numNeighbors; ++row) {
        const std::span<const float> slopes = derivatives.subspan(row * changes.size(), changes.size());
        const float step = directions[row % 3 * numNeighbors + row / 3];
        std::ranges::transform(changes, slopes, changes.begin(),
                               [step](float sum, float slope) { return sum + step * slope; });
    }
}

void SymmFunc::calculateGradients(const NeighborArrays& neighbors, std::span<const float> byValues,
                                  std::span<float> byPositions) const {
    const auto length = static_cast<std::size_t>(numBasis);
    const std::size_t numPositions = 3 * neighbors.size();
    for (std::size_t column = 0; column < byValues.size() / length; ++column) {
        calculateGradient(neighbors, byValues.subspan(column * length, length),
                          byPositions.subspan(column * numPositions, numPositions));
    }
}

void SymmFunc::calculateTangents(const NeighborArrays& neighbors, std::span<const float> directions,
                                 std::span<float> changes) const {
    const auto length = static_cast<std::size_t>(numBasis);
    const std::size_t numPositions = 3 * neighbors.size();
    for (std::size_t column = 0; column < changes.size() / length; ++column) {
        calculateTangent(neighbors, directions.subspan(column * numPositions, numPositions),
                         changes.subspan(column * length, length));
    }
}

void SymmFunc::setElementWeights(std::span<const float> elementWeights) {
    if (!elementWeights.empty()) {
        stopWithMessage("weights of channels do not fit the elements.");
    }
}

void SymmFunc::addElementWeightGradients(const NeighborArrays& /*neighbors*/,
                                         std::span<const float> /*byValues*/,
                                         std::span<const float> /*bySlopes*/,
                                         std::span<const float> /*directions*/,
                                         std::span<float> /*gradients*/) const {}

} // namespace melta
