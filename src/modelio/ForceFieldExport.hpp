// The force field file, through which a trained model is used in molecular dynamics with LAMMPS.
#pragma once

#include <string>

namespace melta {

class Property;

// Tells it on the console and joins the files of a model with these settings in `outputFile`:
//
//   1  the head `dataFile`
//   2  what the baseline that is on takes from `baselineFile` (BaselineKind::exportParameters)
//   3  the energy file of the model
//   4  with `withCharge` its charge file
//
// Everything is copied as text, to the byte; only where a part ends without a line end, one is put in so that
// the next part begins on a line of its own.
//
// Stops with "cannot open file: %s", "cannot read file: %s" and "cannot write file: %s"; then an older
// `outputFile` is left as it was, and no new one is made.
void exportForceField(const std::string& dataFile, const std::string& baselineFile,
                      const std::string& outputFile, const Property& property);

} // namespace melta
