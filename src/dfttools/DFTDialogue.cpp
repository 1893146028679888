#include "dfttools/DFTDialogue.hpp"

#include "base/ConsoleInput.hpp"
#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"

#include <algorithm>
#include <cmath>

namespace melta {
namespace {

// About so many atoms make a set of training data.
constexpr int numAtomsInAll = 50000;

// The three read the answer to a question that has been printed, and keep the default without a usable one.
void readCount(int& value) {
    const std::string answer = readAnswer().value_or("");
    int number = 0;
    if (FieldScanner(answer).readInt(number) && number > 0) {
        value = number;
    }
}

void readLength(double& value) {
    const std::string answer = readAnswer().value_or("");
    double number = 0.0;
    if (FieldScanner(answer).readDouble(number) && number > 0.0 && std::isfinite(number)) {
        value = number;
    }
}

void readWord(std::string& value) {
    const std::string answer = readAnswer().value_or("");
    FieldScanner(answer).readWord(value);
}

void readChoice(bool& value, const char* wordForTrue, const char* wordForFalse) {
    std::string word;
    readWord(word);
    if (word == wordForTrue) {
        value = true;
    } else if (word == wordForFalse) {
        value = false;
    }
}

void askForGeometries(DFTJobs& jobs, int numAtoms) {
    jobs.numGeoms = std::max(numAtomsInAll / numAtoms, 1);
    printOut("\nnumber of geometries [default is %d]:\n", jobs.numGeoms);
    readCount(jobs.numGeoms);
    if (jobs.numGeoms == 1) {
        printOut("\n  * There is 1 geometry.\n");
    } else {
        printOut("\n  * There are %d geometries.\n", jobs.numGeoms);
    }
    printOut("\nshift of atomic positions [default is %.2f]:\n", jobs.shiftAtoms);
    readLength(jobs.shiftAtoms);
    printOut("\n  * Atomic positions are shifted by %.3f Angstroms.\n", jobs.shiftAtoms);
}

void askForCommands(DFTJobs& jobs) {
    printOut("\nexecutable file of Quantum ESPRESSO [default is %s]:\n", jobs.commandQE.c_str());
    readWord(jobs.commandQE);
    printOut("\n  * The command of Quantum ESPRESSO is \"%s\".\n", jobs.commandQE.c_str());
    printOut("\nexecutable file of MPI [default is %s]:\n", jobs.commandMPI.c_str());
    readWord(jobs.commandMPI);
    printOut("\n  * The command of MPI is \"%s\".\n", jobs.commandMPI.c_str());
}

void askForParallelism(DFTJobs& jobs) {
    printOut("\nnumber of MPI's processies [default is %d]:\n", jobs.numMPI);
    readCount(jobs.numMPI);
    if (jobs.numMPI == 1) {
        printOut("\n  * There is 1 process of MPI.\n");
    } else {
        printOut("\n  * There are %d processies of MPI.\n", jobs.numMPI);
    }
    printOut("\nnumber of OpenMP's threads [default is %d]:\n", jobs.numOMP);
    readCount(jobs.numOMP);
    if (jobs.numOMP == 1) {
        printOut("\n  * There is 1 thread of OMP.\n");
    } else {
        printOut("\n  * There are %d threads of OMP.\n", jobs.numOMP);
    }
}

} // namespace

bool askForMetropolis() {
    bool useMetropolis = true;
    printOut("\nusing the result of Metropolis (\"yes\" or \"no\") [default is yes]:\n");
    readChoice(useMetropolis, "yes", "no");
    return useMetropolis;
}

std::optional<std::string> askForTemplate() {
    for (;;) {
        printOut("\ninput file of Quantum ESPRESSO:\n");
        const auto answer = readAnswer();
        if (!answer) {
            return std::nullopt;
        }
        std::string word;
        if (FieldScanner(*answer).readWord(word)) {
            return word;
        }
    }
}

std::optional<int> askForNumAtoms() {
    for (;;) {
        printOut("\nnumber of atoms:\n");
        const auto answer = readAnswer();
        if (!answer) {
            return std::nullopt;
        }
        int number = 0;
        if (FieldScanner(*answer).readInt(number) && number > 0) {
            return number;
        }
    }
}

DFTJobs askForDFTJobs(int numAtoms) {
    DFTJobs jobs;
    if (numAtoms > 0) {
        askForGeometries(jobs, numAtoms);
    }
    askForCommands(jobs);
    askForParallelism(jobs);
    printOut("\nthis data is for \"train\" or \"test\" [default is %s]:\n",
             jobs.forTraining ? "train" : "test");
    readChoice(jobs.forTraining, "train", "test");
    return jobs;
}

} // namespace melta
