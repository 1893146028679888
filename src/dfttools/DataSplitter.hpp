#pragma once

#include <string>

namespace melta {

// Names of a data file and of what is taken out of it.
struct SplitFiles {
    std::string train;
    std::string test;
    std::string valid;
};

// Shares of the test file and of the validation file; 0: there is no validation file.
struct SplitRates {
    float test = -1.0f;
    float valid = 0.0f;
};

// Divides the geometries of the file `train` at random into a new `test`, a new `valid` where it has a share,
// and a new `train`. Unless the share of the test lies between 0 and 1 the console is asked for it; a second
// number in the answer is that of the validation. Without shares that leave something for `train` nothing
// happens. Every record (RecordText.hpp) goes to one of the files byte for byte; only a line end that the
// file lacks in the end is added. All files hold their records in random order. The test file is the same
// with and without validation, if the random numbers are.
//
// What stands behind a line that ended the reading is kept in the file `train` + ".rest", behind what an
// earlier run has left there.
//
// The files take their names when all of them are complete: the rest first, then those of test and
// validation, and `train` at last. So a crash leaves every record in `train` until it is in one of the new
// files for sure, and the run can simply be repeated.
//
// Stops as RecordText does, with "too less #geometries: %s" if a file would get none, and with "cannot open
// file: %s" and "cannot write file: %s"; then all files are as they were. Uses the shared random source.
void splitTrainingData(const SplitFiles& names, SplitRates rates);

} // namespace melta
