#include "symmfunc/behler/SymmFuncBehler.hpp"

#include "base/Reporting.hpp"
#include "symmfunc/behler/BehlerKernels.hpp"

namespace melta {
namespace {

constexpr int numLambdas = 2;

void checkArray(std::span<const float> array, int length, const char* name) {
    if (array.size() < static_cast<std::size_t>(length)) {
        stopWithMessage("%s is null.", name);
    }
}

} // namespace

SymmFuncBehler::SymmFuncBehler(int elems, bool withTanh, bool withWeight, int radiusSize, int angleSize,
                               float radiusCutoff, float angleCutoff)
    : BlockSymmFunc(elems, withTanh, withWeight, radiusSize, angleSize, numLambdas, radiusCutoff,
                    angleCutoff) {}

void SymmFuncBehler::checkParameters() const {
    checkArray(radiusEta, numRadius, "radiusEta");
    checkArray(radiusShift, numRadius, "radiusShift");
    checkArray(angleEta, numAngle, "angleEta");
    checkArray(angleZeta, numAngle, "angleZeta");
    checkArray(angleShift, numAngle, "angleShift");
}

void SymmFuncBehler::calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                               std::span<float> symmDiff) const {
    checkParameters();
    BlockSymmFunc::calculate(geometry, iatom, symmData, symmDiff);
}

std::size_t SymmFuncBehler::countRadiusScratch(std::size_t numNeighbors) const {
    return countBehlerRadialScratch(numNeighbors, static_cast<std::size_t>(numRadius));
}

std::size_t SymmFuncBehler::countAngleScratch(std::size_t numNeighbors) const {
    return countBehlerAngularScratch(numNeighbors, static_cast<std::size_t>(numAngle));
}

void SymmFuncBehler::computeRadius(const NeighborShell& shell, NeighborRange range, const BasisBlock& block,
                                   std::span<float> scratch) const {
    computeBehlerRadial(shell, range, makeRadialSet(), block, scratch);
}

void SymmFuncBehler::prepareAngle(const NeighborShell& shell, std::span<float> scratch) const {
    prepareBehlerAngular(shell, makeAngularSet(), scratch);
}

void SymmFuncBehler::computeAngle(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                  const BasisBlock& block, std::span<float> scratch) const {
    computeBehlerAngular(shell, first, second, makeAngularSet(), block, scratch);
}

void SymmFuncBehler::addRadiusGradient(const NeighborShell& shell, NeighborRange range,
                                       std::span<const float> gradient, const ShellGradient& result) const {
    addBehlerRadialGradient(shell, range, makeRadialSet(), gradient, result);
}

std::size_t SymmFuncBehler::countGradientScratch(std::size_t numNeighbors) const {
    return countBehlerGradientScratch(numNeighbors, static_cast<std::size_t>(numAngle));
}

void SymmFuncBehler::prepareAngleGradient(const NeighborShell& shell, std::span<float> scratch) const {
    prepareBehlerAngularGradient(shell, makeAngularSet(), scratch);
}

void SymmFuncBehler::addAngleGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                      std::span<const float> gradient, const ShellGradient& result,
                                      std::span<float> scratch) const {
    addBehlerAngularGradient(shell, first, second, makeAngularSet(), gradient, result, scratch);
}

BehlerRadialSet SymmFuncBehler::makeRadialSet() const {
    const auto count = static_cast<std::size_t>(numRadius);
    return {.eta = radiusEta.first(count), .shift = radiusShift.first(count)};
}

BehlerAngularSet SymmFuncBehler::makeAngularSet() const {
    const auto count = static_cast<std::size_t>(numAngle);
    return {.eta = angleEta.first(count),
            .zeta = angleZeta.first(count),
            .shift = angleShift.first(count),
            .isG4 = behlerG4,
            .tanhCutoff = tanhCutoff,
            .rcut = rcutAngle};
}

} // namespace melta
