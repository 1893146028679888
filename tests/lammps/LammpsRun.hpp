#pragma once

#include "potential/HostFixture.hpp"

#include <optional>
#include <string>
#include <vector>

namespace melta::test {

// A single evaluation of a cell by LAMMPS, in the current directory.
struct LammpsRun {
    std::string program = "lmp";
    int numRanks = 1;
    std::string unitsLines;         // in front of the cell: "units metal" or "kim init ..."
    std::string potentialLines;     // behind it: "kim interactions ..." or pair_style and pair_coeff
    std::vector<std::string> types; // the label of each atom type
    HostCell cell;
    double electronVolt = 1.0;         // in the units of the run
    double pressureUnit = 1.6021765e6; // LAMMPS's nktv2p: pressure of an energy for each volume

    struct Outcome {
        int status = -1; // of the process; above 128 after a signal
        std::string output;
        std::optional<HostResult> result; // in eV and Angstrom; of a run that ended well
    };

    // Writes the input, runs LAMMPS, reads its results.
    [[nodiscard]] Outcome run() const;

    // Whether this program can be started at all.
    static bool isThere(const std::string& program);

private:
    [[nodiscard]] std::string dataText() const;
    [[nodiscard]] std::string inputText() const;
    [[nodiscard]] HostResult readResult(const std::string& output) const;
};

} // namespace melta::test
