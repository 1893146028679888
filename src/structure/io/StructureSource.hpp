#pragma once

#include "structure/io/Structure.hpp"

#include <functional>
#include <string>

namespace melta {

// Gives an element label its number. May stop.
using LabelNumbering = std::function<int(const std::string& label)>;

// Where structures come from, one after the other: a file of some format that is open. A source reads and
// converts; which structures are kept and what becomes of their energies is decided by who asks.
class StructureSource {
public:
    StructureSource() = default;
    virtual ~StructureSource() = default;
    StructureSource(const StructureSource&) = delete;
    StructureSource& operator=(const StructureSource&) = delete;
    StructureSource(StructureSource&&) = delete;
    StructureSource& operator=(StructureSource&&) = delete;

    // Reads the next structure into `structure`, whose old contents are lost, or returns false at the end.
    // `igeom` is the number of the structure in messages. Each label goes to `numberOf` as soon as the line
    // of its atom is found sound, so that faults are told in the order of the file. Stops with the messages
    // of its format.
    [[nodiscard]] virtual bool next(Structure& structure, int igeom, const LabelNumbering& numberOf) = 0;

    // After the end: whether more than blank lines stand behind it.
    [[nodiscard]] virtual bool hasRest() = 0;
};

} // namespace melta
