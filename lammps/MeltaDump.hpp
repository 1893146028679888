#pragma once

#include "pointers.h"

#include <string>
#include <vector>

namespace melta {

// Configurations of a run, added to a file of extended XYZ: cell and positions (Angstrom), elements by name
// and how far the models disagree about each atom, sorted by the numbers of the atoms. Process 0 writes. A
// frame has no energy and no forces, which readers would take for results to be learnt.
class MeltaDump : protected LAMMPS_NS::Pointers {
public:
    // Ends the run if the file cannot be written. To be called by all processes.
    MeltaDump(LAMMPS_NS::LAMMPS* lammps, std::string file);

    // Adds the present configuration. elements [atom types + 1] names the element of each type; forceSpread
    // [local atoms] is in the units of the run. To be called by all processes.
    void add(const std::vector<std::string>& elements, const std::vector<double>& forceSpread);

private:
    struct Row {
        double tag;
        double type;
        double position[3]; // from the corner of the cell
        double forceSpread;
    };

    [[nodiscard]] std::vector<Row> localRows(const std::vector<double>& forceSpread) const;
    [[nodiscard]] std::vector<Row> gather(const std::vector<Row>& mine) const;
    [[nodiscard]] std::string headOf(const std::vector<Row>& rows) const;

    std::string file;
};

} // namespace melta
