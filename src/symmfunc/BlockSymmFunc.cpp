#include "symmfunc/BlockSymmFunc.hpp"

#include "base/Reporting.hpp"
#include "symmfunc/BasisBlock.hpp"
#include "symmfunc/NeighborCutoffs.hpp"
#include "symmfunc/NeighborShellBuilder.hpp"
#include "symmfunc/ShellGradientBuffer.hpp"

#include <algorithm>
#include <limits>

namespace melta {

// What one thread keeps from call to call, so that only larger neighbourhoods than before allocate.
struct BlockSymmFunc::Workspace {
    NeighborCutoffs cutoffs;
    NeighborShellBuilder shell;
    AlignedBuffer<float> scratch;
    ShellGradientBuffer gradient;

    std::span<float> reserveScratch(std::size_t size) {
        scratch.reserve(size);
        return scratch.span();
    }
};

BlockSymmFunc::Workspace& BlockSymmFunc::workspace() {
    thread_local Workspace work;
    return work;
}

BlockSymmFunc::BlockSymmFunc(int elems, bool withTanh, bool withWeight, int radiusSize, int angleSize,
                             int angleColumns, float radiusCutoff, float angleCutoff)
    : SymmFunc(elems, withTanh, withWeight), numRadius(radiusSize), numAngle(angleSize),
      columnsPerAngle(angleColumns), rcutRadius(radiusCutoff), rcutAngle(angleCutoff) {
    if (numRadius < 1) {
        stopWithMessage("size of radius basis is not positive.");
    }
    if (numAngle < 0) {
        stopWithMessage("size of angle basis is negative.");
    }
    if (!(rcutRadius > 0.0f)) {
        stopWithMessage("cutoff for radius is not positive.");
    }
    if (numAngle >= 1 && !(rcutAngle > 0.0f)) {
        stopWithMessage("cutoff for angle is not positive.");
    }
    // In double precision, because even 64 bits are too few for the largest arguments.
    const double kinds = numKinds();
    const double size = numRadius * kinds + columnsPerAngle * (numAngle * (kinds * (kinds + 1.0) / 2.0));
    if (size > std::numeric_limits<int>::max()) {
        stopWithMessage("too many symmetry functions.");
    }
    sizeRadiusBasis = numRadius * numKinds();
    sizeAngleBasis = static_cast<int>(size) - sizeRadiusBasis;
    numBasis = sizeRadiusBasis + sizeAngleBasis;
}

void BlockSymmFunc::calculateAtom(const NeighborArrays& neighbors, std::span<float> values,
                                  std::span<float> derivatives) const {
    if (neighbors.size() == 0) {
        std::ranges::fill(values, 0.0f);
        std::ranges::fill(derivatives, 0.0f);
        return;
    }

    Workspace& work = workspace();
    const bool withAngle = neighbors.size() >= 2 && numAngle >= 1;
    work.cutoffs.update(neighbors, tanhCutoff, rcutRadius, numAngle >= 1 ? rcutAngle : -1.0f);
    clearUntouched(neighbors, withAngle, values, derivatives);
    calculateRadius(neighbors, work, values, derivatives);
    if (withAngle) {
        calculateAngle(neighbors, work, values, derivatives);
    }
}

void BlockSymmFunc::prepareAngle(const NeighborShell&, std::span<float>) const {}

void BlockSymmFunc::prepareAngleGradient(const NeighborShell&, std::span<float>) const {}

// The kernels write the whole of every block that is not empty, so that only what lies outside needs to be
// cleared. The derivatives fill whole caches; writing them twice would be felt.
void BlockSymmFunc::clearUntouched(const NeighborArrays& neighbors, bool withAngle, std::span<float> values,
                                   std::span<float> derivatives) const {
    const auto rowLength = static_cast<std::size_t>(numBasis);
    const auto sizeRadius = static_cast<std::size_t>(sizeRadiusBasis);
    if (!withAngle) {
        std::ranges::fill(values.subspan(sizeRadius), 0.0f);
        for (std::size_t row = 0; row < 3 && !derivatives.empty(); ++row) {
            std::ranges::fill(derivatives.subspan(row * rowLength + sizeRadius, rowLength - sizeRadius),
                              0.0f);
        }
    }
    for (std::size_t n = 0; n < neighbors.size() && !derivatives.empty(); ++n) {
        const int kind = elemWeight ? 0 : neighbors.elements()[n];
        const bool isInRadius = neighbors.r()[n] < rcutRadius;
        const bool isInAngle = withAngle && neighbors.r()[n] < rcutAngle;
        for (std::size_t row = 3 * n + 3; row < 3 * n + 6; ++row) {
            clearRow(derivatives.subspan(row * rowLength, rowLength), kind, isInRadius, isInAngle);
        }
    }
}

// Clears a neighbour's row but for the blocks that its kind takes part in.
void BlockSymmFunc::clearRow(std::span<float> row, int kind, bool isInRadius, bool isInAngle) const {
    std::size_t cleared = 0;
    const auto leave = [&](int start, int size) {
        const auto begin = static_cast<std::size_t>(start);
        std::ranges::fill(row.subspan(cleared, begin - cleared), 0.0f);
        cleared = begin + static_cast<std::size_t>(size);
    };
    if (isInRadius) {
        leave(kind * numRadius, numRadius);
    }
    if (isInAngle) {
        const int length = angleLength();
        leave(sizeRadiusBasis + length * (kind * (kind + 1) / 2), length * (kind + 1));
        for (int other = kind + 1; other < numKinds(); ++other) {
            leave(sizeRadiusBasis + length * (kind + other * (other + 1) / 2), length);
        }
    }
    leave(numBasis, 0);
}

void BlockSymmFunc::pickRadius(const NeighborArrays& neighbors, Workspace& work) const {
    const auto fc = work.cutoffs.fcRadius();
    const auto dfc = work.cutoffs.dfcRadius();
    if (elemWeight) {
        work.shell.pickWeighted(neighbors, fc, dfc, rcutRadius, false);
    } else {
        work.shell.pickByElement(neighbors, fc, dfc, rcutRadius, numElems);
    }
}

void BlockSymmFunc::pickAngle(const NeighborArrays& neighbors, Workspace& work) const {
    const auto fc = work.cutoffs.fcAngle();
    const auto dfc = work.cutoffs.dfcAngle();
    if (elemWeight) {
        work.shell.pickWeighted(neighbors, fc, dfc, rcutAngle, true);
    } else {
        work.shell.pickByElement(neighbors, fc, dfc, rcutAngle, numElems);
    }
}

// Calls visit(range, start) with the neighbours of each radial block and its first column.
template <class Visit>
void BlockSymmFunc::forEachRadiusBlock(const Workspace& work, Visit&& visit) const {
    for (int kind = 0; kind < numKinds(); ++kind) {
        visit(work.shell.getRange(static_cast<std::size_t>(kind)), kind * numRadius);
    }
}

// Calls visit(first, second, start) with the neighbours of each angular block and its first column.
template <class Visit>
void BlockSymmFunc::forEachAngleBlock(const Workspace& work, Visit&& visit) const {
    for (int first = 0; first < numKinds(); ++first) {
        for (int second = 0; second <= first; ++second) {
            const int pair = second + first * (first + 1) / 2;
            visit(work.shell.getRange(static_cast<std::size_t>(first)),
                  work.shell.getRange(static_cast<std::size_t>(second)),
                  sizeRadiusBasis + pair * angleLength());
        }
    }
}

void BlockSymmFunc::calculateRadius(const NeighborArrays& neighbors, Workspace& work, std::span<float> values,
                                    std::span<float> derivatives) const {
    pickRadius(neighbors, work);
    const auto& shell = work.shell.shell();
    const auto scratch = work.reserveScratch(countRadiusScratch(shell.size));
    forEachRadiusBlock(work, [&](NeighborRange range, int start) {
        computeRadius(shell, range, makeBlock(values, derivatives, start, numRadius), scratch);
    });
}

void BlockSymmFunc::calculateAngle(const NeighborArrays& neighbors, Workspace& work, std::span<float> values,
                                   std::span<float> derivatives) const {
    pickAngle(neighbors, work);
    const auto& shell = work.shell.shell();
    const auto scratch = work.reserveScratch(countAngleScratch(shell.size));
    prepareAngle(shell, scratch);
    forEachAngleBlock(work, [&](NeighborRange first, NeighborRange second, int start) {
        computeAngle(shell, first, second, makeBlock(values, derivatives, start, angleLength()), scratch);
    });
}

void BlockSymmFunc::calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                                      std::span<float> byPositions) const {
    std::ranges::fill(byPositions, 0.0f);
    if (neighbors.size() == 0) {
        return;
    }
    Workspace& work = workspace();
    work.cutoffs.update(neighbors, tanhCutoff, rcutRadius, numAngle >= 1 ? rcutAngle : -1.0f);
    addRadiusGradients(neighbors, work, byValues, byPositions);
    if (neighbors.size() >= 2 && numAngle >= 1) {
        addAngleGradients(neighbors, work, byValues, byPositions);
    }
}

void BlockSymmFunc::addRadiusGradients(const NeighborArrays& neighbors, Workspace& work,
                                       std::span<const float> byValues, std::span<float> byPositions) const {
    pickRadius(neighbors, work);
    const auto& shell = work.shell.shell();
    const ShellGradient gradient = work.gradient.clear(shell.size + shellPadding);
    forEachRadiusBlock(work, [&](NeighborRange range, int start) {
        const auto columns =
            byValues.subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(numRadius));
        addRadiusGradient(shell, range, columns, gradient);
    });
    work.gradient.addTo(shell.entry, byPositions);
}

void BlockSymmFunc::addAngleGradients(const NeighborArrays& neighbors, Workspace& work,
                                      std::span<const float> byValues, std::span<float> byPositions) const {
    pickAngle(neighbors, work);
    const auto& shell = work.shell.shell();
    const auto scratch = work.reserveScratch(countGradientScratch(shell.size));
    const ShellGradient gradient = work.gradient.clear(shell.size + shellPadding);
    prepareAngleGradient(shell, scratch);
    forEachAngleBlock(work, [&](NeighborRange first, NeighborRange second, int start) {
        const auto columns =
            byValues.subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(angleLength()));
        addAngleGradient(shell, first, second, columns, gradient, scratch);
    });
    work.gradient.addTo(shell.entry, byPositions);
}

BasisBlock BlockSymmFunc::makeBlock(std::span<float> values, std::span<float> derivatives, int start,
                                    int size) const {
    const auto offset = static_cast<std::size_t>(start);
    return {.values = values.subspan(offset, static_cast<std::size_t>(size)),
            .diff = derivatives.empty() ? nullptr : derivatives.data() + offset,
            .rowStride = static_cast<std::size_t>(numBasis)};
}

} // namespace melta
