#include "driver/RunCommand.hpp"

#include "driver/CommandLine.hpp"
#include "driver/CommandTable.hpp"
#include "driver/FloatControl.hpp"
#include "driver/HelpText.hpp"

#include <cblas.h>
#include <omp.h>

namespace melta {
namespace {

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
