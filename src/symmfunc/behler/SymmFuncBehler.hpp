#pragma once

#include "symmfunc/BlockSymmFunc.hpp"

namespace melta {

struct BehlerAngularSet;
struct BehlerRadialSet;

// Gaussian radial functions and one of two families of angular functions, each function with parameters of
// its own, after J. Behler, J. Chem. Phys. 134, 074106 (2011), with a shift in all Gaussians.
//
//     radial function k (G2) of element e at numRadius e + k:
//         sum over neighbours with r < rcutRadius of  w fc(r) exp(-eta (r - Rs)^2)
//     angular function k of pair p at sizeRadiusBasis + 2 numAngle p + l numAngle + k, l = 0 for lambda = 1
//     and l = 1 for lambda = -1: sum over pairs with both r < rcutAngle of
//         G4:  W fc(r1) fc(r2) 2^(1 - zeta) (1 + lambda cos t)^zeta exp(-eta ((r1 - Rs)^2 + (r2 - Rs)^2))
//         G3:  the same times fc(r3) exp(-eta (r3 - Rs)^2), r3 the distance of the two neighbours
//
// with the weights w and W of the base class, fc its cutoff function, and t the angle between the two. Terms
// with 1 + lambda cos t below 1e-6 are left out; so are, for G3, pairs with r3 at or beyond rcutAngle.
class SymmFuncBehler final : public BlockSymmFunc {
public:
    // The arguments become numElems, tanhCutoff, elemWeight, numRadius, numAngle, rcutRadius and rcutAngle.
    // Stops with the messages of the base class.
    SymmFuncBehler(int elems, bool withTanh, bool withWeight, int radiusSize, int angleSize,
                   float radiusCutoff, float angleCutoff);

    // Stops with "radiusEta is null.", "radiusShift is null." and, with numAngle at least 1, "angleEta is
    // null.", "angleZeta is null." or "angleShift is null." if an array of parameters is missing or too
    // short.
    void checkParameters() const;

    // As in the base class. The parameters must be there; stops as checkParameters does.
    void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                   std::span<float> symmDiff) const override;

    // Parameters, borrowed from the settings, which must outlive this object.
    std::span<const float> radiusEta;   // [numRadius], 1/Angstrom^2
    std::span<const float> radiusShift; // [numRadius], Rs, Angstrom
    bool behlerG4 = false;              // false: G3, true: G4
    std::span<const float> angleEta;    // [numAngle], 1/Angstrom^2
    std::span<const float> angleZeta;   // [numAngle]
    std::span<const float> angleShift;  // [numAngle], Rs, Angstrom

private:
    [[nodiscard]] std::size_t countRadiusScratch(std::size_t numNeighbors) const override;
    [[nodiscard]] std::size_t countAngleScratch(std::size_t numNeighbors) const override;
    void computeRadius(const NeighborShell& shell, NeighborRange range, const BasisBlock& block,
                       std::span<float> scratch) const override;
    void prepareAngle(const NeighborShell& shell, std::span<float> scratch) const override;
    void computeAngle(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                      const BasisBlock& block, std::span<float> scratch) const override;
    void addRadiusGradient(const NeighborShell& shell, NeighborRange range, std::span<const float> gradient,
                           const ShellGradient& result) const override;
    [[nodiscard]] std::size_t countGradientScratch(std::size_t numNeighbors) const override;
    void prepareAngleGradient(const NeighborShell& shell, std::span<float> scratch) const override;
    void addAngleGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                          std::span<const float> gradient, const ShellGradient& result,
                          std::span<float> scratch) const override;
    [[nodiscard]] BehlerRadialSet makeRadialSet() const;
    [[nodiscard]] BehlerAngularSet makeAngularSet() const;
};

} // namespace melta
