#pragma once

#include "base/LineReader.hpp"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace melta {

class ReaxParamReader;

// The force field of the reduced ReaxFF potential: a parameter file in the published layout ("ffield.reax"),
// completed by the combination rules. Kept is what bond energy, lone pairs, over- and under-coordination and
// the van der Waals term need; valence angles, torsions, hydrogen bonds and charges are not read.
//
// Units are those of the file: kcal/mol and Angstrom. Names of parameters follow A. C. T. van Duin, S.
// Dasgupta, F. Lorant and W. A. Goddard, J. Phys. Chem. A 105, 9396 (2001), and K. Chenoweth, A. C. T. van
// Duin and W. A. Goddard, J. Phys. Chem. A 112, 1040 (2008).
//
// Vectors "per type" have numElems entries. Tables "per pair" are [numElems][numElems], symmetric, with the
// entry of types i and j at pairIndex(i, j).
class ReaxParam {
public:
    // Reads the file and completes the tables. `cutoff`: reach of bonds, Angstrom; 5.0 if it is not above 0.
    // Stops with "cannot open file: %s" (the file), "rcut_vdw is not positive." and as ReaxParamReader.
    ReaxParam(double cutoff, const std::string& fileName);

    // The same from a file that has been opened for reading.
    ReaxParam(double cutoff, FilePointer file);

    virtual ~ReaxParam() = default;
    ReaxParam(const ReaxParam&) = delete;
    ReaxParam& operator=(const ReaxParam&) = delete;
    ReaxParam(ReaxParam&&) = delete;
    ReaxParam& operator=(ReaxParam&&) = delete;

    // The type of an atomic number; -1 if the force field does not know it.
    [[nodiscard]] int typeOf(int atomicNumber) const {
        if (atomicNumber < 1 || atomicNumber > numAtomicNumbers) {
            return -1;
        }
        return typeOfAtomicNumber[static_cast<std::size_t>(atomicNumber) - 1];
    }

    [[nodiscard]] std::size_t pairIndex(int i, int j) const {
        return static_cast<std::size_t>(i) * static_cast<std::size_t>(numElems) + static_cast<std::size_t>(j);
    }

    static constexpr int numAtomicNumbers = 256;

    int numElems = 0;               // number of atom types
    std::vector<int> atomicNumbers; // per type
    double rcut = 0.0;              // cutoff of bonds, Angstrom
    double rcutVdw = 0.0;           // cutoff of the van der Waals term, Angstrom: the upper taper radius

    // General parameters.
    double boCut = 0.0; // smallest bond order that counts
    double pBoc1 = 0.0;
    double pBoc2 = 0.0;
    double pOvun3 = 0.0;
    double pOvun4 = 0.0;
    double pOvun6 = 0.0;
    double pOvun7 = 0.0;
    double pOvun8 = 0.0;
    double tapLower = 0.0; // taper radii, Angstrom
    double tapUpper = 0.0;
    double pVdw1 = 0.0; // exponent of the shielding

    // The smooth count of lone pairs is flat up to lpLower, is switched on up to lpUpper and passes from one
    // step to the next the more sharply, the nearer lpDamp is to 1.
    static constexpr double lpLower = 1.5;
    static constexpr double lpUpper = 2.3;
    static constexpr double lpDamp = 0.8;

    std::array<double, 8> taper{}; // Tap(r) = taper[0] + taper[1] r + ... + taper[7] r^7
    bool withShielding = false;    // of the van der Waals term, decided on the first type for all
    bool withInnerWall = false;    // the same

    // Per type.
    std::vector<double> mass;       // atomic mass units
    std::vector<double> rS;         // radius of sigma bonds, Angstrom; none if not above 0
    std::vector<double> rPi;        // of pi bonds
    std::vector<double> rPiPi;      // of double pi bonds
    std::vector<double> valency;    // bonds
    std::vector<double> valencyE;   // valence electrons
    std::vector<double> valencyVal; // of the second correction of bond orders
    std::vector<double> valencyBoc;
    std::vector<double> bo131;
    std::vector<double> bo132;
    std::vector<double> bo133;
    std::vector<double> pOvun2;
    std::vector<double> pOvun5; // kcal/mol
    std::vector<double> pLp2;   // kcal/mol
    std::vector<double> depth;  // of the van der Waals well, kcal/mol
    std::vector<double> alpha;
    std::vector<double> gammaW; // 1/Angstrom
    std::vector<double> rVdw;   // Angstrom, twice the radius of the file
    std::vector<double> rcore;  // inner wall: Angstrom
    std::vector<double> ecore;  // kcal/mol
    std::vector<double> acore;
    std::vector<double> nlpOpt; // lone pairs of the saturated atom

    // Per pair, from the bond section. Without an entry there all are 0 and the pair forms no bond.
    std::vector<char> isBonding; // not 0 if the pair has an entry
    std::vector<double> pBo1;
    std::vector<double> pBo2;
    std::vector<double> pBo3;
    std::vector<double> pBo4;
    std::vector<double> pBo5;
    std::vector<double> pBo6;
    std::vector<double> deSigma; // kcal/mol
    std::vector<double> dePi;
    std::vector<double> dePiPi;
    std::vector<double> pBe1;
    std::vector<double> pBe2;
    std::vector<double> ovc;    // at least 0.001: orders are corrected for over-coordination
    std::vector<double> v13cor; // at least 0.001: orders are corrected for 1-3 bonds
    std::vector<double> pOvun1;

    // Per pair, from the off-diagonal section; entries that are not above 0 by the mean of the types:
    // arithmetic for radii of bonds, geometric for the rest.
    std::vector<double> pairRS; // Angstrom
    std::vector<double> pairRPi;
    std::vector<double> pairRPiPi;
    std::vector<double> pairDepth; // kcal/mol
    std::vector<double> pairAlpha;
    std::vector<double> pairRVdw; // Angstrom, twice the radius of the file

    // Per pair, geometric means of the types.
    std::vector<double> pBoc3; // of bo132
    std::vector<double> pBoc4; // of bo131
    std::vector<double> pBoc5; // of bo133
    std::vector<double> pairGammaW;
    std::vector<double> pairRcore;
    std::vector<double> pairEcore;
    std::vector<double> pairAcore;

    std::array<int, numAtomicNumbers> typeOfAtomicNumber{}; // at atomic number - 1; -1 for none

private:
    ReaxParam(double cutoff, ReaxParamReader reader);
    void completeTypes();
    void completePairs();
    void makeTaper();
    void fillMean(std::vector<double>& table, const std::vector<double>& ofType,
                  double (*mean)(double, double)) const;
};

} // namespace melta
