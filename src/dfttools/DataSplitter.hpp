#pragma once

#include <string>

namespace melta {

// Divides the geometries of a data file at random into a new `fileTrain` and a new `fileTest`. `rate` is the
// share that goes to the test file; unless it lies between 0 and 1 the console is asked for it, and without
// such an answer nothing happens. Every record (RecordText.hpp) goes to one of the files byte for byte; only
// a line end that the file lacks in the end is added. Both files hold their records in random order.
//
// What stands behind a line that ended the reading is kept in the file `fileTrain` + ".rest", behind what an
// earlier run has left there.
//
// The files take their names when all of them are complete: the rest first, then the test file, and
// `fileTrain` at last. So a crash leaves every record in `fileTrain` until it is in one of the new files for
// sure, and the run can simply be repeated.
//
// Stops as RecordText does, with "too less #geometries: %s" if a file would get none, and with "cannot open
// file: %s" and "cannot write file: %s"; then all files are as they were. Uses the shared random source.
void splitTrainingData(const std::string& fileTrain, const std::string& fileTest, float rate);

} // namespace melta
