#pragma once

#include "structure/Geometry.hpp"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace melta::test {

// A small force field made up for the tests, in fields that a test can change before it asks for the text of
// the file. The values are of the usual magnitude but belong to no published fit. Units of the file:
// kcal/mol, Angstrom. `unused` columns hold a number that must not matter.

struct ReaxSampleType {
    std::string name;
    double rSigma, valency, mass, rVdw, depth, rPi, valencyE;
    double alpha, gammaW, valencyBoc, pOvun5;
    double rPiPi, pLp2, bo131, bo132, bo133;
    double pOvun2, valencyVal, rCore, eCore, aCore;
};

struct ReaxSampleBond {
    int first, second; // counted from 1
    double deSigma, dePi, dePiPi, pBe1, pBo5, v13cor, pBo6, pOvun1;
    double pBe2, pBo3, pBo4, pBo1, pBo2, ovc;
};

struct ReaxSampleOffDiagonal {
    int first, second; // counted from 1
    double depth, rVdw, alpha, rSigma, rPi, rPiPi;
};

struct ReaxSample {
    std::array<double, 40> general{}; // [number of the line in its section]; [0] is not written
    std::vector<ReaxSampleType> types;
    std::vector<ReaxSampleBond> bonds;
    std::vector<ReaxSampleOffDiagonal> offDiagonals;

    // H, C, O and Fe as types 1 to 4; every pair but C-Fe has a bond entry.
    static ReaxSample mixed();

    // H alone, without corrections of the bond orders and with values that are easy by hand.
    static ReaxSample plainHydrogen();

    // The entry of a pair of types, counted from 1.
    [[nodiscard]] ReaxSampleBond& bond(int first, int second);

    // The file, in the published layout, with lines after the last section that is read.
    [[nodiscard]] std::string text() const;
};

// Atoms with their cell. All the builders below put the atoms well inside the cell.
struct ReaxConfiguration {
    std::array<float, 9> lattice{};
    std::vector<int> atomicNumbers;
    std::vector<float> positions; // [numAtoms][3], Angstrom

    void add(int atomicNumber, float x, float y, float z);

    // The geometry with reference energies and forces of zero.
    [[nodiscard]] std::unique_ptr<Geometry> makeGeometry() const;
};

// A cubic cell of `edge` Angstrom without atoms.
ReaxConfiguration makeEmptyBox(float edge);

// Two atoms at the distance `r` along a skew direction, in a cell so large that images do not meet.
ReaxConfiguration makeDimer(int first, int second, float r);

ReaxConfiguration makeWater();
ReaxConfiguration makeMethane();
ReaxConfiguration makeCarbonDioxide();
ReaxConfiguration makeEthene();
ReaxConfiguration makeEthyne();

// Atoms of the given numbers on a distorted lattice in a skew cell with edges of about 4 Angstrom: every atom
// meets images of itself. `seed` chooses the distortion.
ReaxConfiguration makeDistortedCrystal(const std::array<int, 8>& atomicNumbers, unsigned seed);

// `numAtoms` atoms drawn from `choice`, placed at random but no nearer than `closest` Angstrom to each other,
// images counted, in a skew cell of about `volumePerAtom` cubic Angstrom for each atom.
ReaxConfiguration makeRandomConfiguration(const std::vector<int>& choice, int numAtoms, float volumePerAtom,
                                          float closest, unsigned seed);

} // namespace melta::test
