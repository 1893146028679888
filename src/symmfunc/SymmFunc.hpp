#pragma once

#include <cstddef>
#include <span>

namespace melta {

class Geometry;
class NeighborArrays;

// Turns the neighbourhood of one atom into a vector of `numBasis` numbers, the input of the network of the
// atom's element, and, on demand, into the vector's derivatives. Read-only after construction, so that
// threads share one object; scratch memory belongs to the calling thread.
//
// Layouts, slowest index first:
//     symmData [numBasis]: the radial (two-body) block, then the angular (three-body) block.
//     symmDiff [3 (numNeighbors + 1)][numBasis], 1/Angstrom: rows 0, 1, 2 are the derivatives by x, y, z of
//     the central
//         atom, rows 3 n + 3 + c the derivative by coordinate c of entry n of the atom's neighbour list. Each
//         periodic image has rows of its own. The derivatives are the exact gradient of symmData.
//
// Without `elemWeight` the radial block has one part per element and the angular block one part per unordered
// pair of elements, numbered e2 + e1 (e1 + 1) / 2 for e1 >= e2. With `elemWeight` all elements share one
// part: two-body terms are weighted with the neighbour's atomic number, three-body terms with the geometric
// mean of the two numbers.
class SymmFunc {
public:
    // The arguments become numElems, tanhCutoff and elemWeight. Stops with "number of elements is not
    // positive." below one element.
    SymmFunc(int elems, bool withTanh, bool withWeight);
    virtual ~SymmFunc() = default;
    SymmFunc(const SymmFunc&) = delete;
    SymmFunc& operator=(const SymmFunc&) = delete;
    SymmFunc(SymmFunc&&) = delete;
    SymmFunc& operator=(SymmFunc&&) = delete;

    // Fills both arrays for atom `iatom` of `geometry`, whose neighbour lists must be there; an empty
    // symmDiff asks for the values alone. Whatever the arrays hold before is overwritten. They may be longer
    // than needed; the rest stays. Stops with "index of atom is out of range.", "symmData is too short." or
    // "symmDiff is too short.".
    virtual void calculate(const Geometry& geometry, int iatom, std::span<float> symmData,
                           std::span<float> symmDiff) const;

    // The same from the neighbours of an atom, wherever they come from, without checks: symmData [numBasis],
    // symmDiff [3 (neighbours + 1)][numBasis] or empty.
    virtual void calculateAtom(const NeighborArrays& neighbors, std::span<float> symmData,
                               std::span<float> symmDiff) const = 0;

    // The way back, without symmDiff: for a function of symmData whose derivatives by the values are byValues
    // [numBasis], byPositions [3][neighbours] becomes its derivatives by the neighbours' coordinates, x
    // first, in the order of `neighbors`. Those by the central position are minus their sums. A kind that has
    // no way of its own goes by symmDiff.
    virtual void calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                                   std::span<float> byPositions) const;

    // The other direction: how the values change, changes [numBasis], when the neighbours move along
    // directions [3][neighbours], x first, and the central atom rests. A kind that has no way of its own goes
    // by symmDiff.
    virtual void calculateTangent(const NeighborArrays& neighbors, std::span<const float> directions,
                                  std::span<float> changes) const;

    // Both of them for several functions, or several movements, of one neighbourhood: a column for each,
    // byValues and changes [columns][numBasis], byPositions and directions [columns][3][neighbours].
    virtual void calculateGradients(const NeighborArrays& neighbors, std::span<const float> byValues,
                                    std::span<float> byPositions) const;
    virtual void calculateTangents(const NeighborArrays& neighbors, std::span<const float> directions,
                                   std::span<float> changes) const;

    // Whether calculateGradients and calculateTangents cost less than products with symmDiff, so that
    // trainings need not keep it.
    [[nodiscard]] virtual bool isCheapWithoutDiff() const { return false; }

    // How much a neighbour of an element counts in each channel of a central atom's functions, [central
    // element][element][channel]; empty for a kind without channels.
    [[nodiscard]] virtual std::span<const float> getElementWeights() const { return {}; }

    // Replaces them, while no thread uses the object. Stops with "weights of channels do not fit the
    // elements." or "weights of channels are not finite.".
    virtual void setElementWeights(std::span<const float> elementWeights);

    // For sums over columns of byValues . symmData and of bySlopes . changes, the latter by
    // calculateTangents along directions: adds their derivatives by the weights of the central element to
    // gradients [element][channel]. byValues, bySlopes [columns][numBasis]; without bySlopes there are no
    // directions either. Does nothing for a kind without channels.
    virtual void addElementWeightGradients(const NeighborArrays& neighbors, std::span<const float> byValues,
                                           std::span<const float> bySlopes, std::span<const float> directions,
                                           std::span<float> gradients) const;

    [[nodiscard]] int getNumBasis() const { return numBasis; }

protected:
    // The checks that begin every calculate.
    void checkArguments(const Geometry& geometry, int iatom, std::span<const float> symmData,
                        std::span<const float> symmDiff) const;

    // Length of symmDiff for an atom with that many neighbours.
    [[nodiscard]] std::size_t diffSize(std::size_t numNeighbors) const {
        return 3 * (numNeighbors + 1) * static_cast<std::size_t>(numBasis);
    }

    // symmDiff of an atom without the rows of the atom itself, in memory of the calling thread: row 3 n + c
    // [numBasis] belongs to coordinate c of neighbour n.
    [[nodiscard]] std::span<const float> computeDiffRows(const NeighborArrays& neighbors) const;

    int numElems;
    int numBasis = 0; // set by the kind's constructor
    bool tanhCutoff;  // false: cosine cutoff; true: tanh-cubed cutoff
    bool elemWeight;  // false: resolved by element; true: one weighted vector for all elements
};

} // namespace melta
