#include "driver/RunCommand.hpp"

#include "base/FloatControl.hpp"
#include "base/MemoryPurpose.hpp"
#include "base/Reporting.hpp"
#include "base/ThreadTeam.hpp"
#include "driver/CommandLine.hpp"
#include "driver/CommandTable.hpp"
#include "driver/HelpText.hpp"

#include <algorithm>
#include <cblas.h>
#include <csignal>
#include <omp.h>

namespace melta {
namespace {

// What cannot be written is an error of the writing then, which whoever minds looks at: a reader of the
// output who leaves ends no training, and a limit of the size of files is a full disk.
void ignoreWriteSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

// Gives the threads that were asked for; 0 leaves the choice to the OpenMP runtime. True when these were too
// many.
bool setUpThreads(int numThreads) {
    const int wish = numThreads > 0 ? numThreads : omp_get_max_threads();
    const int limit = findLargestTeam();
    const int numGiven = std::min(wish, limit);
    const int numCallers = limitBlasCallers(numGiven);
    if (numThreads > 0 || wish > limit || numCallers < numGiven) {
        // OpenBLAS cuts the count to its own limit and hands that to OpenMP as well, which we undo: our own
        // loops may use more threads than its products.
        openblas_set_num_threads(numCallers);
        omp_set_num_threads(numGiven);
    }
    omp_set_max_active_levels(1);
    return wish > limit;
}

void makeTeam(bool isLimited) {
    if (isLimited) {
        printOut("  * The number of threads is limited to %d.\n\n", omp_get_max_threads());
    }
    requireThreads(omp_get_max_threads());
    flushDenormalsInTeam();
}

} // namespace

int runCommand(std::span<const std::string> arguments) {
    ignoreWriteSignals();
    flushDenormals();
    const CommandLine line = parseCommandLine(arguments);
    const bool isLimited = setUpThreads(line.numThreads);

    const Command* const command = line.numArgs() < 1 ? nullptr : findCommand(line.words[0]);
    if (command == nullptr) {
        printHelp();
        return 0;
    }
    if (command->threading == Threading::parallel) {
        makeTeam(isLimited);
    }
    allocateFor(line.words[0].c_str(), [&] { command->run(line.words); });
    return 0;
}

} // namespace melta
