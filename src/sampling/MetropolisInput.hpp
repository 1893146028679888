#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace melta {

// The element of a place that holds no atom.
inline constexpr const char* vacancyName = "X";

// What a Metropolis walk is steered by: the settings of the head of its input file with their defaults, and
// what its two cards say. Elements are numbered from 0 in the order of their first appearance in the card.
struct MetropolisInput {
    std::int32_t maxSteps = 100000; // most steps of the walk
    std::int32_t numGeoms = 1000;   // geometries to be produced
    std::int32_t unknownGeoms = 1;  // flag: only geometries outside the training data are produced
    std::int32_t withShift = 1;     // flag: single atoms are shifted
    std::int32_t shiftInit = 1;     // flag: all mobile atoms are shifted once before the walk
    float shiftCoord = 0.2f;        // length of a shift, Angstrom
    float shiftCoordInit = 0.1f;    // length of the shifts before the walk, Angstrom
    float temperature = 300.0f;     // K
    float upperEnergy = 5.0f;       // how far the energy may rise above that of the start, eV per atom
    float lowerEnergy = 5.0f;       // how far it may fall below, eV per atom

    std::int32_t numAtoms = 0;           // atoms, vacancies not counted
    std::vector<std::int32_t> fixAtoms;  // [numAtoms], 1 for an atom that must not move, else 0
    std::vector<std::int32_t> elemAtoms; // [numAtoms], index into elemNames
    std::int32_t numElems = 0;           // elements of the atoms
    std::vector<std::string> elemNames;  // [numElems], at most 8 characters each
    std::int32_t numVacancies = 0;       // places without an atom
    std::vector<float> vacancyCoords;    // [numVacancies][3], Cartesian, Angstrom

    std::int32_t numSwaps = 0;                         // pairs of elements that change places
    std::vector<std::array<std::string, 2>> swapPairs; // [numSwaps], names; one may be vacancyName
    std::vector<float> swapTemps;                      // [numSwaps], K; -1 where the input gives none
};

} // namespace melta
