#pragma once

#include "symmfunc/SymmFunc.hpp"

namespace melta {

class NeighborRecords;
struct ChebyshevBlock;

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
class SymmFuncChebyshev final : public SymmFunc {
public:
    // The arguments become numElems, tanhCutoff, elemWeight, numRadius, numAngle, rcutRadius and rcutAngle.
    // Stops, in this order, with the message of the base class, "size of radius basis is not positive.",
    // "size of angle basis is negative.", "cutoff for radius is not positive." and, with numAngle at least 1,
    // "cutoff for angle is not positive."; and with "too many symmetry functions." when their number
    // overflows.
    SymmFuncChebyshev(int elems, bool withTanh, bool withWeight, int radiusSize, int angleSize,
                      float radiusCutoff, float angleCutoff);

    void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                   std::span<float> symmDiff) const override;

private:
    struct Workspace;

    // Without `elemWeight` every element has blocks of its own.
    [[nodiscard]] int numKinds() const { return elemWeight ? 1 : numElems; }

    void clearUntouched(const NeighborRecords& records, bool withAngle, std::span<float> values,
                        std::span<float> derivatives) const;
    void clearRow(std::span<float> row, int kind, bool isInRadius, bool isInAngle) const;
    void calculateRadius(Workspace& work, std::span<float> values, std::span<float> derivatives) const;
    void calculateAngle(Workspace& work, std::span<float> values, std::span<float> derivatives) const;
    [[nodiscard]] ChebyshevBlock obtainBlock(std::span<float> values, std::span<float> derivatives, int start,
                                             int size) const;

    int numRadius;       // radial polynomials, orders 0 to numRadius - 1
    int numAngle;        // angular polynomials, orders 0 to numAngle - 1; may be 0
    int sizeRadiusBasis; // length of the radial block
    int sizeAngleBasis;  // length of the angular block
    float rcutRadius;    // Angstrom
    float rcutAngle;     // Angstrom
};

} // namespace melta
