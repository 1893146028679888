#include "symmfunc/manybody/SymmFuncManyBody.hpp"

#include "base/Reporting.hpp"
#include "structure/NeighborArrays.hpp"
#include "symmfunc/ShellGradientBuffer.hpp"
#include "symmfunc/manybody/ManyBodyKernels.hpp"
#include "symmfunc/manybody/ManyBodyShell.hpp"

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

namespace melta {
namespace {

// The library's way of writing large blocks does not read them first, as stores one by one do. All bits zero
// is 0.0f.
void clear(std::span<float> block) {
    if (!block.empty()) {
        std::memset(block.data(), 0, block.size_bytes());
    }
}

} // namespace

// What one thread keeps from call to call, so that only larger neighbourhoods than before allocate.
struct SymmFuncManyBody::Workspace {
    ManyBodyShell shell;
    ManyBodyScratch scratch;
    ShellGradientBuffer gradient;
};

SymmFuncManyBody::Workspace& SymmFuncManyBody::workspace() {
    thread_local Workspace work;
    return work;
}

SymmFuncManyBody::SymmFuncManyBody(int elems, bool withWeight, int size2, int size3, float innerRadius,
                                   float outerRadius)
    : SymmFunc(elems, false, withWeight), m2(size2), m3(size3), rinner(innerRadius), router(outerRadius) {
    if (elemWeight) {
        stopWithMessage("many-body does not support elemWeight.");
    }
    if (m2 < 1) {
        stopWithMessage("size of 2-body is not positive.");
    }
    if (m3 < 0) {
        stopWithMessage("size of 3-body is negative.");
    }
    if (rinner < 0.0f) {
        stopWithMessage("inner radius is negative.");
    }
    if (!(rinner < router)) {
        stopWithMessage("outer radius is too small.");
    }
    setSizes();
    step2 = (router - rinner) / static_cast<float>(m2);
    if (m3 >= 1) {
        step3 = (router - rinner) / static_cast<float>(m3);
    }
}

void SymmFuncManyBody::setSizes() {
    constexpr std::int64_t largest = std::numeric_limits<int>::max();
    const std::int64_t sizeRadius = std::int64_t{m2} * numElems;
    const std::int64_t numColumns = std::int64_t{m3} * numElems;
    // Without this limit the square itself might overflow.
    const bool fits = sizeRadius <= largest && numColumns <= 65536;
    const std::int64_t sizeAngle = fits ? numColumns * (numColumns + 1) / 2 * m3 : 0;
    if (!fits || sizeRadius + sizeAngle > largest) {
        stopWithMessage("too many symmetry functions.");
    }
    sizeRadiusBasis = static_cast<int>(sizeRadius);
    sizeAngleBasis = static_cast<int>(sizeAngle);
    numBasis = sizeRadiusBasis + sizeAngleBasis;
}

// The derivatives are many and nearly all zero. Each neighbour's rows are cleared just before its own terms
// are added, while they are still in the cache, and never touched again.
void SymmFuncManyBody::calculateAtom(const NeighborArrays& neighbors, std::span<float> values,
                                     std::span<float> symmDiff) const {
    const std::size_t numNeighbors = neighbors.size();
    const std::size_t threeRows = 3 * static_cast<std::size_t>(numBasis);
    const bool withDiff = !symmDiff.empty();
    clear(values);
    if (withDiff) {
        clear(symmDiff.first(threeRows));
    }
    if (numNeighbors == 0) {
        return;
    }

    Workspace& work = workspace();
    const bool withAngle = numNeighbors >= 2 && m3 >= 1;
    work.shell.update(neighbors, router, numElems);
    work.shell.locateRadius({.numPoints = m2, .start = rinner, .step = step2});
    const ManyBodyAxis axis{.numPoints = m3, .start = rinner, .step = step3};
    const ManyBodyBlock block = makeAngleBlock(values, symmDiff);
    ManyBodyNeighbors inside{};
    if (withAngle) {
        work.shell.locateAngle(axis);
        work.scratch.reserve(numNeighbors);
        inside = work.shell.getNeighbors();
    }
    for (std::size_t n = 0; n < numNeighbors; ++n) {
        if (withDiff) {
            clear(symmDiff.subspan((n + 1) * threeRows, threeRows));
        }
        const std::int32_t place = work.shell.getPlace(n);
        if (place < 0) {
            continue;
        }
        addRadius(neighbors, work, n, values, symmDiff);
        if (withAngle) {
            addManyBodyTriangles(inside, static_cast<std::size_t>(place), axis, router, block, work.scratch);
        }
    }
}

void SymmFuncManyBody::addRadius(const NeighborArrays& neighbors, const Workspace& work, std::size_t entry,
                                 std::span<float> values, std::span<float> derivatives) const {
    const auto place = static_cast<std::size_t>(work.shell.getPlace(entry));
    const auto& points = work.shell.radiusPoints();
    const float* const weights = points.weights.data() + 4 * place;
    const std::array d{neighbors.dx()[entry], neighbors.dy()[entry], neighbors.dz()[entry]};
    const auto rowLength = static_cast<std::size_t>(numBasis);
    for (std::int32_t k = 0; k < points.count[place]; ++k) {
        const auto column =
            static_cast<std::size_t>(m2 * neighbors.elements()[entry] + points.first[place] + k);
        values[column] += weights[k];
        for (std::size_t axis = 0; axis < 3 && !derivatives.empty(); ++axis) {
            const float slope = d[axis] * weights[2 + k];
            derivatives[axis * rowLength + column] -= slope;
            derivatives[(3 * entry + 3 + axis) * rowLength + column] += slope;
        }
    }
}

ManyBodyBlock SymmFuncManyBody::makeAngleBlock(std::span<float> values, std::span<float> derivatives) const {
    const auto start = static_cast<std::size_t>(sizeRadiusBasis);
    return {.values = values.data() + start,
            .diff = derivatives.empty() ? nullptr : derivatives.data() + start,
            .rowStride = static_cast<std::size_t>(numBasis),
            .triangleSize = triangleSize()};
}

std::size_t SymmFuncManyBody::triangleSize() const {
    return m3 >= 1 ? static_cast<std::size_t>(sizeAngleBasis / m3) : 0;
}

void SymmFuncManyBody::calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                                         std::span<float> byPositions) const {
    clear(byPositions);
    if (neighbors.size() == 0) {
        return;
    }
    Workspace& work = workspace();
    work.shell.update(neighbors, router, numElems);
    work.shell.locateRadius({.numPoints = m2, .start = rinner, .step = step2});
    addRadiusGradient(neighbors, work, byValues, byPositions);
    if (neighbors.size() >= 2 && m3 >= 1) {
        addAngleGradient(work, byValues, byPositions);
    }
}

void SymmFuncManyBody::addRadiusGradient(const NeighborArrays& neighbors, const Workspace& work,
                                         std::span<const float> byValues,
                                         std::span<float> byPositions) const {
    const auto& points = work.shell.radiusPoints();
    const std::size_t numNeighbors = neighbors.size();
    for (std::size_t n = 0; n < numNeighbors; ++n) {
        const std::int32_t place = work.shell.getPlace(n);
        if (place < 0) {
            continue;
        }
        const auto from = static_cast<std::size_t>(place);
        float slope = 0.0f;
        for (std::int32_t k = 0; k < points.count[from]; ++k) {
            const auto column =
                static_cast<std::size_t>(m2 * neighbors.elements()[n] + points.first[from] + k);
            slope += byValues[column] * points.weights[4 * from + 2 + static_cast<std::size_t>(k)];
        }
        byPositions[n] = slope * neighbors.dx()[n];
        byPositions[numNeighbors + n] = slope * neighbors.dy()[n];
        byPositions[2 * numNeighbors + n] = slope * neighbors.dz()[n];
    }
}

void SymmFuncManyBody::addAngleGradient(Workspace& work, std::span<const float> byValues,
                                        std::span<float> byPositions) const {
    const std::size_t numNeighbors = byPositions.size() / 3;
    const ManyBodyAxis axis{.numPoints = m3, .start = rinner, .step = step3};
    work.shell.locateAngle(axis);
    work.scratch.reserve(numNeighbors);
    const ManyBodyNeighbors inside = work.shell.getNeighbors();
    const ShellGradient gradient = work.gradient.clear(inside.size);
    addManyBodyGradient(inside, axis, router, byValues.data() + sizeRadiusBasis, triangleSize(), gradient,
                        work.scratch);
    work.gradient.addTo(inside.entry.first(inside.size), byPositions);
}

} // namespace melta
