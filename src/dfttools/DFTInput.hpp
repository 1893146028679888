#pragma once

#include "dfttools/DFTAtoms.hpp"
#include "dfttools/DFTTemplate.hpp"

#include <string>
#include <vector>

namespace melta {

class RandomSource;

// Both write an input file of Quantum ESPRESSO whole, in the place of an existing one. False if a file cannot
// be opened; this is printed. Stop with "cannot write file: %s" when the medium refuses any of it, "cannot
// read file: %s". Then, too, what stood there before is left.

// The template with displaced atoms. Each atom moves along a direction of its own (LebedevDirections.hpp) by
// a length, positive or negative, that is normally distributed with the standard deviation `shiftAtoms`,
// Angstrom. Two atoms share a pair of lengths (NormalPair.hpp); for each such two the source is asked for the
// lengths and then for the directions. The second length of an odd atom at the end is not used.
[[nodiscard]] bool writeDisplacedInput(const std::string& fileName, const DFTTemplate& lines,
                                       const std::vector<DFTAtom>& atoms, double shiftAtoms,
                                       RandomSource& random);

// The head of the template and then the contents of a geometry file, which holds cell and atoms.
[[nodiscard]] bool writeMetropolisInput(const std::string& fileName,
                                        const std::vector<std::string>& headLines,
                                        const std::string& geometryFile);

} // namespace melta
