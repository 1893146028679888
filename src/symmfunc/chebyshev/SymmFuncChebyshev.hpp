#pragma once

#include "symmfunc/BlockSymmFunc.hpp"

namespace melta {

// Radial and angular distribution of the neighbourhood, expanded on Chebyshev polynomials of the first kind,
// T_k(x) = cos(k acos x), after N. Artrith, A. Urban and G. Ceder, Phys. Rev. B 96, 014112 (2017).
//
//     radial order k of element e at numRadius e + k:
//         sum over neighbours with r < rcutRadius of  w fc(r) T_k(2 r / rcutRadius - 1)
//     angular order k of pair p at sizeRadiusBasis + numAngle p + k:
//         sum over pairs with both r < rcutAngle of  W fc(r1) fc(r2) T_k(2 t / pi - 1), t the angle between
//         the two
//
// with the weights w and W of the base class and fc its cutoff function. The derivative of the angle is kept
// finite for collinear neighbours by the floor 0.001 on sin(t).
class SymmFuncChebyshev final : public BlockSymmFunc {
public:
    // The arguments become numElems, tanhCutoff, elemWeight, numRadius, numAngle, rcutRadius and rcutAngle:
    // radial orders 0 to numRadius - 1, angular orders 0 to numAngle - 1. Stops with the messages of the base
    // class.
    SymmFuncChebyshev(int elems, bool withTanh, bool withWeight, int radiusSize, int angleSize,
                      float radiusCutoff, float angleCutoff);

private:
    [[nodiscard]] std::size_t countRadiusScratch(std::size_t numNeighbors) const override;
    [[nodiscard]] std::size_t countAngleScratch(std::size_t numNeighbors) const override;
    void computeRadius(const NeighborShell& shell, NeighborRange range, const BasisBlock& block,
                       std::span<float> scratch) const override;
    void computeAngle(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                      const BasisBlock& block, std::span<float> scratch) const override;
    void addRadiusGradient(const NeighborShell& shell, NeighborRange range, std::span<const float> gradient,
                           const ShellGradient& result) const override;
    [[nodiscard]] std::size_t countGradientScratch(std::size_t numNeighbors) const override;
    void addAngleGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                          std::span<const float> gradient, const ShellGradient& result,
                          std::span<float> scratch) const override;
};

} // namespace melta
