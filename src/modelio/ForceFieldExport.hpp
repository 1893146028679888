// The force field file, through which a trained model is used in molecular dynamics with LAMMPS.
#pragma once

#include <string>

namespace melta {

// Tells it on the console and joins the files of a model in `outputFile`:
//
//   1  the head `dataFile`
//   2  `withClassical`: the number of element pairs of `baselineFile` on a line, then the parameter lines
//   3  `withReaxFF`: `baselineFile` between the lines ">>> ReaxFF" and "<<< ReaxFF"
//   4  the energy file of the model
//   5  `withCharge`: its charge file
//
// Everything is copied as text, to the byte; only where a part ends without a line end, one is put in so that
// the next part begins on a line of its own. The parameter file of the Lennard-Jones-like potential begins
// with the number of elements n, here and n lines of elements are passed over, and n (n + 1) / 2 lines of
// pairs follow; without a positive n on its first line the number of pairs is 0, and if lines are missing at
// its end they are missing in the export.
//
// Stops with "cannot open file: %s", "cannot read file: %s" and "cannot write file: %s"; then an older
// `outputFile` is left as it was, and no new one is made.
void exportForceField(const std::string& dataFile, const std::string& baselineFile,
                      const std::string& outputFile, bool withClassical, bool withReaxFF, bool withCharge);

} // namespace melta
