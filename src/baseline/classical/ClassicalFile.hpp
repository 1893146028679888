// The file of the Lennard-Jones-like potential and its table for plotting.
//
//     n                                number of elements
//     name energy                      n lines, eV
//     name name A B C D                one line for each pair of elements
//
// Pairs are written by rows: element 0 with 0, 1, ..., n - 1, then element 1 with 1, ..., n - 1 and so on.
#pragma once

#include "base/LineReader.hpp"
#include "baseline/classical/ClassicalParameters.hpp"

#include <string>

namespace melta {

class GeometrySet;

// Reads the parameters of the elements and pairs that the set has, and leaves those that the file does not
// mention as they are. Elements are matched by their labels; what the set has not is skipped. An A below
// 0.0001 is read as 0.0001. `fileName` is the name of the opened file, for messages. Stops with "cannot read
// #elements.", "incorrect #elements: %s", "now, you have no elements.", "cannot read element's data.",
// "cannot read an element: %s", "cannot read a pair of elements: %s" (the file); a number that is NaN or
// infinite counts as unreadable.
void readClassicalFile(LineReader& file, const std::string& fileName, const GeometrySet& geometrySet,
                       ClassicalParameters& parameters);

// The same from an exported force field, where a line with the number of pairs takes the place of the
// elements: reads that line and the lines of the pairs. Stops with "cannot read #pairs of elements: %s", and
// as above for a pair.
void readExportedPairs(LineReader& file, const std::string& fileName, const GeometrySet& geometrySet,
                       ClassicalParameters& parameters);

// Replaces the file. Stops with "cannot open file: %s", "cannot write file: %s", "index of element is out of
// range.".
void writeClassicalFile(const std::string& fileName, const GeometrySet& geometrySet,
                        const ClassicalParameters& parameters);

// Replaces the table of all pair energies (eV) at distances from 0.01 to 10 Angstrom. Stops as above.
void writeClassicalCsv(const std::string& fileName, const GeometrySet& geometrySet,
                       const ClassicalParameters& parameters, const PairCutoff& cutoff);

// Calls work(i, j) for all pairs in the order of the rows above.
template <class Work>
void forEachPairRow(std::size_t numElems, const Work& work) {
    for (std::size_t i = 0; i < numElems; ++i) {
        for (std::size_t j = i; j < numElems; ++j) {
            work(i, j);
        }
    }
}

} // namespace melta
