#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"

#include "symmfunc/chebyshev/ChebyshevKernels.hpp"

namespace melta {

SymmFuncChebyshev::SymmFuncChebyshev(int elems, bool withTanh, bool withWeight, int radiusSize, int angleSize,
                                     float radiusCutoff, float angleCutoff)
    : BlockSymmFunc(elems, withTanh, withWeight, radiusSize, angleSize, 1, radiusCutoff, angleCutoff) {}

std::size_t SymmFuncChebyshev::countRadiusScratch(std::size_t numNeighbors) const {
    return countChebyshevScratch(numNeighbors, static_cast<std::size_t>(numRadius));
}

std::size_t SymmFuncChebyshev::countAngleScratch(std::size_t numNeighbors) const {
    return countChebyshevScratch(numNeighbors, static_cast<std::size_t>(numAngle));
}

void SymmFuncChebyshev::computeRadius(const NeighborShell& shell, NeighborRange range,
                                      const BasisBlock& block, std::span<float> scratch) const {
    computeChebyshevRadial(shell, range, rcutRadius, block, scratch);
}

void SymmFuncChebyshev::computeAngle(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                     const BasisBlock& block, std::span<float> scratch) const {
    computeChebyshevAngular(shell, first, second, block, scratch);
}

void SymmFuncChebyshev::addRadiusGradient(const NeighborShell& shell, NeighborRange range,
                                          std::span<const float> gradient,
                                          const ShellGradient& result) const {
    addChebyshevRadialGradient(shell, range, rcutRadius, gradient, result);
}

std::size_t SymmFuncChebyshev::countGradientScratch(std::size_t numNeighbors) const {
    return countChebyshevGradientScratch(numNeighbors, static_cast<std::size_t>(numAngle));
}

void SymmFuncChebyshev::addAngleGradient(const NeighborShell& shell, NeighborRange first,
                                         NeighborRange second, std::span<const float> gradient,
                                         const ShellGradient& result, std::span<float> scratch) const {
    addChebyshevAngularGradient(shell, first, second, gradient, result, scratch);
}

} // namespace melta
