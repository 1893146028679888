#pragma once

#include <optional>
#include <string>

namespace melta {

// What the user wants of the jobs.
struct DFTJobs {
    int numGeoms = 0;                   // input files to write
    double shiftAtoms = 0.10;           // scale of the random displacement, Angstrom
    std::string commandQE = "pw.exe";   // executable of Quantum ESPRESSO
    std::string commandMPI = "mpiexec"; // launcher of its processes
    int numMPI = 2;                     // processes
    int numOMP = 1;                     // threads of each process
    bool forTraining = true;            // the data are for training, otherwise for testing
};

// Whether to use the geometries of the Metropolis walk; yes unless the answer is "no".
[[nodiscard]] bool askForMetropolis();

// Both ask again and again until they get a word or a positive number. Empty if the standard input ends
// before.
[[nodiscard]] std::optional<std::string> askForTemplate();
[[nodiscard]] std::optional<int> askForNumAtoms();

// Asks for the jobs and repeats what is in force. An answer is the first word of a line; without a usable one
// the default holds. The number of geometries and the displacement are asked for only if there are atoms to
// displace, `numAtoms` in number; otherwise `numGeoms` is 0.
[[nodiscard]] DFTJobs askForDFTJobs(int numAtoms);

} // namespace melta
