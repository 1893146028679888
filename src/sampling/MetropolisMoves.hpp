#pragma once

#include "sampling/MetropolisInput.hpp"
#include "sampling/SwapTable.hpp"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace melta {

class Geometry;
class RandomSource;

// The moves of a Monte Carlo walk: draws them, carries them out on the positions of a geometry and of the
// vacancies, and takes the last one back. Nothing is allocated after construction.
class MetropolisMoves {
public:
    // The type of a shift of one atom; the other types are the numbers of the swapping pairs.
    static constexpr int shift = -1;

    // Where an atom can be.
    struct Place {
        bool isVacancy;
        int index; // of the atom in the geometry or of the vacancy
    };

    // All are borrowed; `geometry` has the atoms of `input`, in the same order. Stops with "there are no
    // mobile atoms." if atoms are to be shifted, and as SwapTable.
    MetropolisMoves(MetropolisInput& input, Geometry& geometry, RandomSource& random);

    // The atoms that can be shifted, ascending; empty when shifts are switched off.
    [[nodiscard]] std::span<const int> getMobileAtoms() const { return mobileAtoms; }

    // Draws the type of the next move: where both kinds are in use half of the moves are shifts, and the
    // pairs have equal shares of the rest. Draws nothing where shifts are the only kind. Stops with "there
    // are not atomic shift nor swapping.".
    [[nodiscard]] int chooseType();

    // Draws and carries out a move of this type. A shift takes one atom to a place that is uniform in a cube
    // around the old one; a swap exchanges the positions of one place of either kind, while the atoms keep
    // their elements and indices. Stops with "incorrect type of swapping.".
    void perform(int moveType);

    // Takes the last move back. Only once after each.
    void undo();

    // The atoms that the last move has moved: one or two.
    [[nodiscard]] std::span<const int> getMovedAtoms() const { return std::span(movedAtoms).first(numMoved); }

    // Exchanges the positions of two places. The same call again undoes it.
    void swapCoordinates(Place a, Place b);

private:
    static std::vector<int> findMobileAtoms(const MetropolisInput& input);
    void shiftAtom();
    void swapPair(int pair);
    [[nodiscard]] Place drawPlace(int swapIndex);
    void rememberMoved(Place place);
    [[nodiscard]] std::span<float> coordinatesOf(Place place);

    MetropolisInput& input;
    Geometry& geometry;
    RandomSource& random;
    std::vector<int> mobileAtoms;
    SwapTable swapTable;

    bool isShift = true;                 // the last move
    std::array<Place, 2> places{};       // of the last swap, the first one of the last shift
    std::array<float, 3> keptPosition{}; // of the atom before the last shift, Angstrom
    std::array<int, 2> movedAtoms{};
    std::size_t numMoved = 0;
};

} // namespace melta
