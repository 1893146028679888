#include "baseline/reax/ReaxParamReader.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "baseline/reax/ReaxParam.hpp"
#include "config/FiniteNumber.hpp"
#include "structure/ElementSymbols.hpp"

#include <array>
#include <cstddef>
#include <utility>

namespace melta {
namespace {

// Which line of the general section, counted from 1, holds which parameter.
struct GeneralField {
    int line;
    double ReaxParam::*target;
};
constexpr std::array<GeneralField, 11> generalFields = {{
    {1, &ReaxParam::pBoc1},
    {2, &ReaxParam::pBoc2},
    {7, &ReaxParam::pOvun6},
    {9, &ReaxParam::pOvun7},
    {10, &ReaxParam::pOvun8},
    {12, &ReaxParam::tapLower},
    {13, &ReaxParam::tapUpper},
    {29, &ReaxParam::pVdw1},
    {30, &ReaxParam::boCut},
    {32, &ReaxParam::pOvun4},
    {33, &ReaxParam::pOvun3},
}};
constexpr int lastGeneralLine = 33;

// The columns of a line in their order; null: not kept.
using Table = std::vector<double> ReaxParam::*;
constexpr std::size_t lineLength = 8;
using Columns = std::array<Table, lineLength>;

constexpr std::array<Columns, 4> atomColumns = {{
    {&ReaxParam::rS, &ReaxParam::valency, &ReaxParam::mass, &ReaxParam::rVdw, &ReaxParam::depth, nullptr,
     &ReaxParam::rPi, &ReaxParam::valencyE},
    {&ReaxParam::alpha, &ReaxParam::gammaW, &ReaxParam::valencyBoc, &ReaxParam::pOvun5},
    {&ReaxParam::rPiPi, &ReaxParam::pLp2, nullptr, &ReaxParam::bo131, &ReaxParam::bo132, &ReaxParam::bo133},
    {&ReaxParam::pOvun2, nullptr, nullptr, &ReaxParam::valencyVal, nullptr, &ReaxParam::rcore,
     &ReaxParam::ecore, &ReaxParam::acore},
}};

constexpr std::array<Columns, 2> bondColumns = {{
    {&ReaxParam::deSigma, &ReaxParam::dePi, &ReaxParam::dePiPi, &ReaxParam::pBe1, &ReaxParam::pBo5,
     &ReaxParam::v13cor, &ReaxParam::pBo6, &ReaxParam::pOvun1},
    {&ReaxParam::pBe2, &ReaxParam::pBo3, &ReaxParam::pBo4, nullptr, &ReaxParam::pBo1, &ReaxParam::pBo2,
     &ReaxParam::ovc},
}};

constexpr std::size_t offDiagonalLength = 6;
constexpr std::array<Table, offDiagonalLength> offDiagonalColumns = {
    &ReaxParam::pairDepth, &ReaxParam::pairRVdw, &ReaxParam::pairAlpha,
    &ReaxParam::pairRS,    &ReaxParam::pairRPi,  &ReaxParam::pairRPiPi,
};

// Appends one atom type's share of a line to the tables.
void appendColumns(ReaxParam& param, const Columns& columns, const std::vector<double>& reals) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
        if (columns[c] != nullptr) {
            (param.*columns[c]).push_back(reals[c]);
        }
    }
}

// Writes a line into both entries of a pair.
template <std::size_t count>
void storeColumns(ReaxParam& param, const std::array<Table, count>& columns, int i, int j,
                  const std::vector<double>& reals) {
    for (std::size_t c = 0; c < count; ++c) {
        if (columns[c] != nullptr) {
            (param.*columns[c])[param.pairIndex(i, j)] = reals[c];
            (param.*columns[c])[param.pairIndex(j, i)] = reals[c];
        }
    }
}

bool scanReals(FieldScanner& scanner, std::vector<double>& reals, std::size_t count) {
    reals.resize(count);
    return readFinite(scanner, reals);
}

bool isType(const ReaxParam& param, int number) {
    return number >= 1 && number <= param.numElems;
}

} // namespace

ReaxParamReader::ReaxParamReader(const std::string& fileName) : reader(fileName) {
    if (!reader.isOpen()) {
        stopWithMessage("cannot open file: %s", fileName.c_str());
    }
}

ReaxParamReader::ReaxParamReader(FilePointer opened) : reader(std::move(opened), {}) {}

void ReaxParamReader::readInto(ReaxParam& param) {
    if (!reader.next()) {
        stopWithMessage("cannot read the first comment line.");
    }
    readGeneral(param);
    readAtoms(param);
    readBonds(param);
    readOffDiagonals(param);
}

void ReaxParamReader::readGeneral(ReaxParam& param) {
    int count = 0;
    if (!readCount(count)) {
        stopWithMessage("cannot read #general parameters.");
    }
    if (count < 1) {
        stopWithMessage("#general parameters is not positive.");
    }
    std::vector<double> reals;
    for (int line = 1; line <= count; ++line) {
        // Behind the last parameter that matters a line need not be a number.
        const bool isRead = line <= lastGeneralLine ? readReals(reals, 1) : reader.next();
        if (!isRead) {
            stopWithMessage("cannot read a general parameter.");
        }
        for (const GeneralField& field : generalFields) {
            if (field.line == line) {
                param.*field.target = reals[0];
            }
        }
    }
    // The file gives percents.
    param.boCut /= 100.0;
}

void ReaxParamReader::readAtoms(ReaxParam& param) {
    int count = 0;
    if (!readCount(count)) {
        stopWithMessage("cannot read #atomic parameters.");
    }
    if (count < 1) {
        stopWithMessage("#atomic parameters is not positive.");
    }
    for (const char* const line : {"2nd", "3rd", "4th"}) {
        if (!reader.next()) {
            stopWithMessage("cannot read the header(%s-line) of atomic parameters.", line);
        }
    }
    for (int iatom = 1; iatom <= count; ++iatom) {
        readAtom(param, iatom);
    }
    param.numElems = count;
}

void ReaxParamReader::readAtom(ReaxParam& param, int iatom) {
    std::array<std::vector<double>, 4> lines;
    std::string name;
    if (reader.next()) {
        FieldScanner scanner(reader.line());
        scanner.readWord(name);
        if (!scanReals(scanner, lines[0], lineLength)) {
            name.clear();
        }
    }
    if (name.empty()) {
        stopWithMessage("cannot read a atomic parameter @1st-line : iatom=%d", iatom);
    }
    requireAtomLine(iatom, "2nd", lines[1]);
    requireAtomLine(iatom, "3rd", lines[2]);
    requireAtomLine(iatom, "4th", lines[3]);

    // Numbers that occur once only bound the number of types, whatever the count says.
    const int atomicNumber = findAtomicNumber(name);
    if (atomicNumber < 1) {
        stopWithMessage("incorrect atomic number: iatom=%d", iatom);
    }
    int& type = param.typeOfAtomicNumber[static_cast<std::size_t>(atomicNumber) - 1];
    if (type >= 0) {
        stopWithMessage("duplex atomic number: iatom=%d", iatom);
    }
    type = iatom - 1;
    param.atomicNumbers.push_back(atomicNumber);
    for (std::size_t line = 0; line < lines.size(); ++line) {
        appendColumns(param, atomColumns[line], lines[line]);
    }
    param.rVdw.back() *= 2.0;
}

void ReaxParamReader::readBonds(ReaxParam& param) {
    int count = 0;
    if (!readCount(count)) {
        stopWithMessage("cannot read #bond's parameters.");
    }
    if (count < 0) {
        stopWithMessage("#bond's parameters is negative.");
    }
    if (!reader.next()) {
        stopWithMessage("cannot read the header(2nd-line) of bond's parameters.");
    }
    const std::size_t numPairs = param.pairIndex(param.numElems, 0);
    param.isBonding.assign(numPairs, 0);
    for (const Columns& columns : bondColumns) {
        for (const Table table : columns) {
            if (table != nullptr) {
                (param.*table).assign(numPairs, 0.0);
            }
        }
    }
    for (int ibond = 1; ibond <= count; ++ibond) {
        readBond(param, ibond);
    }
}

void ReaxParamReader::readBond(ReaxParam& param, int ibond) {
    int first = 0;
    int second = 0;
    std::array<std::vector<double>, 2> lines;
    if (!readPair(first, second, lines[0], lineLength)) {
        stopWithMessage("cannot read a bond's parameter @1st-line : ibond=%d", ibond);
    }
    if (!readReals(lines[1], lineLength)) {
        stopWithMessage("cannot read a bond's parameter @2nd-line : ibond=%d", ibond);
    }
    if (!isType(param, first) || !isType(param, second)) {
        stopWithMessage("index of atom is out of range: ibond=%d", ibond);
    }
    for (std::size_t line = 0; line < lines.size(); ++line) {
        storeColumns(param, bondColumns[line], first - 1, second - 1, lines[line]);
    }
    param.isBonding[param.pairIndex(first - 1, second - 1)] = 1;
    param.isBonding[param.pairIndex(second - 1, first - 1)] = 1;
}

void ReaxParamReader::readOffDiagonals(ReaxParam& param) {
    int count = 0;
    if (!readCount(count)) {
        stopWithMessage("cannot read #off-diagonal parameters.");
    }
    if (count < 0) {
        stopWithMessage("#off-diagonal parameters is negative.");
    }
    for (const Table table : offDiagonalColumns) {
        (param.*table).assign(param.pairIndex(param.numElems, 0), 0.0);
    }
    for (int ioffDiag = 1; ioffDiag <= count; ++ioffDiag) {
        readOffDiagonal(param, ioffDiag);
    }
}

void ReaxParamReader::readOffDiagonal(ReaxParam& param, int ioffDiag) {
    int first = 0;
    int second = 0;
    std::vector<double> reals;
    if (!readPair(first, second, reals, offDiagonalLength)) {
        stopWithMessage("cannot read a off-diagonal parameter: ioffDiag=%d", ioffDiag);
    }
    if (!isType(param, first) || !isType(param, second)) {
        stopWithMessage("index of atom is out of range: ioffDiag=%d", ioffDiag);
    }
    reals[1] *= 2.0; // the radius of van der Waals, as for the types
    storeColumns(param, offDiagonalColumns, first - 1, second - 1, reals);
}

bool ReaxParamReader::readCount(int& count) {
    if (!reader.next()) {
        return false;
    }
    FieldScanner scanner(reader.line());
    return scanner.readInt(count);
}

bool ReaxParamReader::readReals(std::vector<double>& reals, std::size_t count) {
    if (!reader.next()) {
        return false;
    }
    FieldScanner scanner(reader.line());
    return scanReals(scanner, reals, count);
}

bool ReaxParamReader::readPair(int& first, int& second, std::vector<double>& reals, std::size_t count) {
    if (!reader.next()) {
        return false;
    }
    FieldScanner scanner(reader.line());
    return scanner.readInt(first) && scanner.readInt(second) && scanReals(scanner, reals, count);
}

void ReaxParamReader::requireAtomLine(int iatom, const char* line, std::vector<double>& reals) {
    if (!readReals(reals, lineLength)) {
        stopWithMessage("cannot read a atomic parameter @%s-line : iatom=%d", line, iatom);
    }
}

} // namespace melta
