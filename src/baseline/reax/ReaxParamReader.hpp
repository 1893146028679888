#pragma once

#include "base/LineReader.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace melta {

class ReaxParam;

// Takes a ReaxFF parameter file apart: a comment, the general parameters, four lines for each atom type, two
// for each kind of bond, one for each off-diagonal pair. What follows them is not read.
//
// A number that is NaN or infinite counts as unreadable. Memory grows with what is really read, never with
// what a count promises.
class ReaxParamReader {
public:
    // Stops with "cannot open file: %s" (the file).
    explicit ReaxParamReader(const std::string& fileName);

    // Takes over a file that has been opened for reading.
    explicit ReaxParamReader(FilePointer opened);

    // Fills the parameters that the file gives; pairs that it leaves out stay 0. Entries are counted from 1
    // in the messages. Stops with
    //     "cannot read the first comment line.",
    //     "cannot read #general parameters.", "#general parameters is not positive.",
    //     "cannot read a general parameter.",
    //     "cannot read #atomic parameters.", "#atomic parameters is not positive.",
    //     "cannot read the header(2nd-line) of atomic parameters." (3rd, 4th),
    //     "cannot read a atomic parameter @1st-line : iatom=%d" (2nd, 3rd, 4th),
    //     "incorrect atomic number: iatom=%d", "duplex atomic number: iatom=%d",
    //     "cannot read #bond's parameters.", "#bond's parameters is negative.",
    //     "cannot read the header(2nd-line) of bond's parameters.",
    //     "cannot read a bond's parameter @1st-line : ibond=%d" (2nd),
    //     "index of atom is out of range: ibond=%d",
    //     "cannot read #off-diagonal parameters.", "#off-diagonal parameters is negative.",
    //     "cannot read a off-diagonal parameter: ioffDiag=%d" and
    //     "index of atom is out of range: ioffDiag=%d".
    void readInto(ReaxParam& param);

private:
    void readGeneral(ReaxParam& param);
    void readAtoms(ReaxParam& param);
    void readAtom(ReaxParam& param, int iatom);
    void readBonds(ReaxParam& param);
    void readBond(ReaxParam& param, int ibond);
    void readOffDiagonals(ReaxParam& param);
    void readOffDiagonal(ReaxParam& param, int ioffDiag);

    bool readCount(int& count);
    bool readReals(std::vector<double>& reals, std::size_t count);
    bool readPair(int& first, int& second, std::vector<double>& reals, std::size_t count);
    void requireAtomLine(int iatom, const char* line, std::vector<double>& reals);

    LineReader reader;
};

} // namespace melta
