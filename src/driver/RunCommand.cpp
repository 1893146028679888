#include "driver/RunCommand.hpp"

#include "driver/CommandLine.hpp"
#include "driver/CommandTable.hpp"
#include "driver/FloatControl.hpp"
#include "driver/HelpText.hpp"

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

void setUpThreads(int numThreads) {
    if (numThreads > 0) {
        // OpenBLAS cuts the count to its own limit and hands that to OpenMP as well, which we undo: our own
        // loops may use more threads than its products.
        openblas_set_num_threads(numThreads);
        omp_set_num_threads(numThreads);
    }
    omp_set_max_active_levels(1);
}

} // namespace

int runCommand(std::span<const std::string> arguments) {
    ignoreWriteSignals();
    flushDenormals();
    const CommandLine line = parseCommandLine(arguments);
    setUpThreads(line.numThreads);

    const Command* const command = line.numArgs() < 1 ? nullptr : findCommand(line.words[0]);
    if (command == nullptr) {
        printHelp();
        return 0;
    }
    if (command->threading == Threading::parallel) {
        flushDenormalsInTeam();
    }
    command->run(line.words);
    return 0;
}

} // namespace melta
