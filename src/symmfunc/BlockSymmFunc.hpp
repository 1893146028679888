#pragma once

#include "symmfunc/SymmFunc.hpp"

namespace melta {

class NeighborArrays;
struct BasisBlock;
struct NeighborRange;
struct NeighborShell;
struct ShellGradient;

// Symmetry functions that come in blocks of equal length: one radial block for each element and one angular
// block for each pair of elements, or a single block of both with `elemWeight`. It owns the course of a
// calculation: the neighbours, sorted by element; the clearing of what no neighbour touches; and the
// calls that fill one block after the other, which are the kind's own.
class BlockSymmFunc : public SymmFunc {
public:
    void calculateAtom(const NeighborArrays& neighbors, std::span<float> symmData,
                       std::span<float> symmDiff) const override;
    void calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                           std::span<float> byPositions) const override;

protected:
    // The arguments become numElems, tanhCutoff, elemWeight, numRadius, numAngle, columnsPerAngle, rcutRadius
    // and rcutAngle. Stops, in this order, with the message of the base class, "size of radius basis is not
    // positive.", "size of angle basis is negative.", "cutoff for radius is not positive." and, with numAngle
    // at least 1, "cutoff for angle is not positive."; and with "too many symmetry functions." when their
    // number overflows.
    BlockSymmFunc(int elems, bool withTanh, bool withWeight, int radiusSize, int angleSize, int angleColumns,
                  float radiusCutoff, float angleCutoff);

    // Length of the scratch array that the calls below get, for shells of that many neighbours.
    [[nodiscard]] virtual std::size_t countRadiusScratch(std::size_t numNeighbors) const = 0;
    [[nodiscard]] virtual std::size_t countAngleScratch(std::size_t numNeighbors) const = 0;

    // Writes everything that belongs to the columns of a radial block: the values, the rows of the neighbours
    // in the range, and the rows of the central atom.
    virtual void computeRadius(const NeighborShell& shell, NeighborRange range, const BasisBlock& block,
                               std::span<float> scratch) const = 0;

    // Called once before the angular blocks of an atom. The scratch array keeps what it holds until the last
    // of them.
    virtual void prepareAngle(const NeighborShell& shell, std::span<float> scratch) const;

    // The same for an angular block, the sum over pairs of neighbours. The pairs are all of `first` with all
    // of `second`, or, if the two ranges are the same, each pair within it once.
    virtual void computeAngle(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                              const BasisBlock& block, std::span<float> scratch) const = 0;

    // The way back: add the derivatives by the positions of the neighbours in the ranges of a function whose
    // derivatives by the values of a block are `gradient`. The angular calls share a scratch array of their
    // own, which the prepare call, at first, may fill.
    virtual void addRadiusGradient(const NeighborShell& shell, NeighborRange range,
                                   std::span<const float> gradient, const ShellGradient& result) const = 0;
    [[nodiscard]] virtual std::size_t countGradientScratch(std::size_t numNeighbors) const = 0;
    virtual void prepareAngleGradient(const NeighborShell& shell, std::span<float> scratch) const;
    virtual void addAngleGradient(const NeighborShell& shell, NeighborRange first, NeighborRange second,
                                  std::span<const float> gradient, const ShellGradient& result,
                                  std::span<float> scratch) const = 0;

    int numRadius;       // radial parameter sets
    int numAngle;        // angular parameter sets; may be 0
    int columnsPerAngle; // angular functions of one parameter set
    int sizeRadiusBasis; // length of all radial blocks
    int sizeAngleBasis;  // length of all angular blocks
    float rcutRadius;    // Angstrom
    float rcutAngle;     // Angstrom

private:
    struct Workspace;

    static Workspace& workspace(); // of the calling thread

    // Without `elemWeight` every element has blocks of its own.
    [[nodiscard]] int numKinds() const { return elemWeight ? 1 : numElems; }
    [[nodiscard]] int angleLength() const { return numAngle * columnsPerAngle; }

    void clearUntouched(const NeighborArrays& neighbors, bool withAngle, std::span<float> values,
                        std::span<float> derivatives) const;
    void clearRow(std::span<float> row, int kind, bool isInRadius, bool isInAngle) const;
    void pickRadius(const NeighborArrays& neighbors, Workspace& work) const;
    void pickAngle(const NeighborArrays& neighbors, Workspace& work) const;
    template <class Visit>
    void forEachRadiusBlock(const Workspace& work, Visit&& visit) const;
    template <class Visit>
    void forEachAngleBlock(const Workspace& work, Visit&& visit) const;
    void calculateRadius(const NeighborArrays& neighbors, Workspace& work, std::span<float> values,
                         std::span<float> derivatives) const;
    void addRadiusGradients(const NeighborArrays& neighbors, Workspace& work, std::span<const float> byValues,
                            std::span<float> byPositions) const;
    void addAngleGradients(const NeighborArrays& neighbors, Workspace& work, std::span<const float> byValues,
                           std::span<float> byPositions) const;
    void calculateAngle(const NeighborArrays& neighbors, Workspace& work, std::span<float> values,
                        std::span<float> derivatives) const;
    [[nodiscard]] BasisBlock makeBlock(std::span<float> values, std::span<float> derivatives, int start,
                                       int size) const;
};

} // namespace melta
