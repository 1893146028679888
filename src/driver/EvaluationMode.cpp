#include "driver/EvaluationMode.hpp"

#include "base/CleanStop.hpp"
#include "base/MyTimer.hpp"
#include "base/Reporting.hpp"
#include "evaluation/FrameStream.hpp"
#include "melta/Potential.hpp"

namespace melta {
namespace {

// Without a path in front of the names of files in messages.
constexpr const char* workingDirectory = "";

void printSummary(const StreamSummary& summary, bool isCommittee) {
    printOut("  Evaluation:\n\n");
    printOut("    Number of Geometries     = %lld\n", summary.geometries);
    printOut("    Number of Atoms          = %lld\n", summary.atoms);
    if (isCommittee) {
        printOut("    Largest Spread of Energy = %.3e eV/atom\n", summary.energySpread);
        printOut("    Largest Spread of Force  = %.3e eV/Angstrom\n", summary.forceSpread);
    }
    printOut("    Number of Novel Atoms    = %lld\n\n", summary.novelAtoms);
}

} // namespace

void runEvaluation(std::span<const std::string> words) {
    if (words.size() < 3) {
        stopWithMessage("two names of extended XYZ files are needed: --evaluate IN OUT");
    }
    MyTimer timer;
    timer.start();
    const Potential potential = stopCleanly([] { return Potential::load(workingDirectory); });
    FrameStream stream(potential, words[1]);
    printOut("\n  * Evaluate geometries of the file: %s.\n\n", words[1].c_str());
    flushOut();
    const StreamSummary summary = stopCleanly([&] { return stream.run(words[2]); });
    printSummary(summary, potential.numModels() > 1);
    printOut("  * Generate the file: %s.\n\n", words[2].c_str());
    timer.stop();
    printOut("  * Wall time: %s.\n\n", timer.getFullTime().c_str());
}

} // namespace melta
