#pragma once

#include <string>
#include <vector>

namespace melta {

// The lines of an input file of Quantum ESPRESSO, without line ends.
struct DFTTemplate {
    std::vector<std::string> headLines; // through the header of ATOMIC_POSITIONS
    std::vector<std::string> atomLines; // one for each atom
    std::vector<std::string> tailLines; // behind the atoms
};

// Reads the template of the jobs and checks its settings (DFTSettings.hpp). With `useMetropolis` the atoms
// and the cell come from elsewhere: then the cards ATOMIC_POSITIONS and CELL_PARAMETERS are left out, and all
// other lines belong to the head. The number of atoms is the setting "nat"; if that does not stand in front
// of the atoms, the console is asked for it.
//
// False if the file does not open, lacks a setting or atoms, or gives these in another unit than Angstrom;
// this is printed. False, too, if the standard input ends before the number of atoms is known. Stops with
// "too much lines in a file." if head or tail have 2048 lines, and with "too long line: %s".
[[nodiscard]] bool readDFTTemplate(const std::string& fileName, bool useMetropolis, DFTTemplate& lines);

} // namespace melta
