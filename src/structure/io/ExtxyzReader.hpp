#pragma once

#include "base/LineReader.hpp"
#include "structure/io/ExtxyzColumns.hpp"
#include "structure/io/ExtxyzFrame.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace melta {

// Reads the frames of an XYZ file, extended or plain, one after the other. Each is a line with the number of
// atoms, a comment (ExtxyzComment.hpp), and a line for each atom (ExtxyzColumns.hpp); blank lines may stand
// between frames. Elements are the column "species" or, without it, the atomic numbers of "Z"; a column
// "labels" comes before both. Positions are "pos". Columns with other names are not looked at. A frame with a
// Lattice is periodic where "pbc" does not say otherwise, and one without is not.
class ExtxyzReader {
public:
    enum class Reference { ignored, read };

    // Stops with "cannot open file: %s".
    ExtxyzReader(const std::string& fileName, Reference wish);

    // Reads the next frame into `frame`, whose old contents are lost, or returns false at the end. `iframe`
    // is its number in messages that count from 0. Stops as requireNumAtoms and with "%s in line %d: %s" (see
    // refuse).
    [[nodiscard]] bool next(ExtxyzFrame& frame, int iframe);

    // Stop with "%s in line %d: %s" for a fault in the comment of the frame that was read last, or in the
    // line of an atom.
    [[noreturn]] void refuseComment(const ExtxyzFrame& frame, const char* fault) const;
    [[noreturn]] void refuseAtom(const ExtxyzFrame& frame, std::size_t atom, const char* fault) const;

private:
    // Places of the fields in the lines of atoms.
    struct Places {
        std::size_t numFields = 0;
        bool isPlain = false; // more fields may follow
        std::size_t label = 0;
        bool isNumber = false; // the label is an atomic number
        std::size_t position = 0;
        std::optional<std::size_t> force;
        std::optional<std::size_t> energy;
        std::optional<std::size_t> charge;
    };

    [[nodiscard]] bool nextLine();
    [[nodiscard]] bool findFrame();
    [[nodiscard]] int readNumAtoms(int iframe) const;
    void readComment(ExtxyzFrame& frame) const;
    void readCell(ExtxyzFrame& frame) const;
    [[nodiscard]] Places findPlaces(const ExtxyzComment& comment) const;
    void findReference(const ExtxyzColumns& columns, Places& found) const;
    void readAtom(const Places& places, ExtxyzFrame& frame);
    [[nodiscard]] std::string labelOf(const std::string& field, bool isNumber) const;
    void readNumbers(std::size_t first, std::size_t count, std::vector<double>& numbers) const;
    [[noreturn]] void refuse(const char* fault) const;
    [[noreturn]] void refuseLine(const char* fault, long long number) const;

    std::string fileName;
    Reference reference;
    LineReader reader;
    long long lineNumber = 0;
    std::vector<std::string> fields; // of the line of an atom
};

} // namespace melta
