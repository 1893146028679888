#include "driver/CommandTable.hpp"

#include "base/Reporting.hpp"
#include "base/StopFile.hpp"
#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "config/SymmFuncKind.hpp"
#include "config/Version.hpp"
#include "driver/BehlerMode.hpp"
#include "driver/ClassicalMode.hpp"
#include "driver/DFTMode.hpp"
#include "driver/DebugMode.hpp"
#include "driver/EvaluationMode.hpp"
#include "driver/ExportMode.hpp"
#include "driver/ForceTestMode.hpp"
#include "driver/ImportMode.hpp"
#include "driver/MetropolisMode.hpp"
#include "driver/SplitMode.hpp"
#include "driver/TestingMode.hpp"
#include "driver/TrainingMode.hpp"

#include <algorithm>

namespace melta {
namespace {

// The training runs in another process, which finds the file at its next poll.
void runStop(std::span<const std::string> /*words*/) {
    StopFile(fileNames::stopFile).create();
    printOut("\n  * Training neural network will be stopped.\n\n");
}

// A further word names the kind of symmetry functions that the file is for.
void runTemplate(std::span<const std::string> words) {
    constexpr bool chargeMode = false;
    constexpr bool overwrite = true;
    Property property;
    if (words.size() >= 2) {
        const SymmFuncKind* const kind = findSymmFuncKind(words[1]);
        if (kind == nullptr) {
            stopWithMessage("unknown symmetry function: %s", words[1].c_str());
        }
        property.symmFuncKind = kind->getCode();
        kind->proposeTraining(property);
    }
    property.writeTemplate(fileNames::properties, chargeMode, overwrite);
    printOut("\n  * Generate the file: %s.\n\n", fileNames::properties);
}

void runVersion(std::span<const std::string> /*words*/) {
    printOut("melta %s\n", versionText);
}

} // namespace

std::span<const Command> commandTable() {
    static const std::vector<Command> table = {
        {{"--train", "--train-energy"}, runEnergyTraining, Threading::parallel},
        {{"--train-charge"}, runChargeTraining, Threading::parallel},
        {{"--stop", "--stop-training"}, runStop, Threading::serial},
        {{"--test", "--test-with-bias", "--test-without-bias"}, runAccuracyTest, Threading::parallel},
        {{"--debug", "--debug-energy"}, runEnergyDebug, Threading::parallel},
        {{"--debug-charge"}, runChargeDebug, Threading::parallel},
        {{"--force", "--force-test"}, runForceTest, Threading::parallel},
        {{"--temp", "--template"}, runTemplate, Threading::serial},
        {{"--behler", "--behler-temp"}, runBehler, Threading::serial},
        {{"--export", "--force-field", "--lammps"}, runExport, Threading::serial},
        {{"--dft", "--qe", "--quantum-espresso"}, runDFT, Threading::serial},
        {{"--split", "--split-train"}, runSplit, Threading::serial},
        {{"--metro", "--monte-carlo", "--mc"}, runMetropolis, Threading::parallel},
        {{"--metro-temp", "--monte-carlo-temp", "--mc-temp"}, runMetropolisTemplate, Threading::serial},
        {{"--classical"}, runClassicalFit, Threading::parallel},
        {{"--evaluate"}, runEvaluation, Threading::parallel},
        {{"--import"}, runImport, Threading::serial},
        {{"--version"}, runVersion, Threading::serial},
    };
    return table;
}

const Command* findCommand(std::string_view word) {
    for (const Command& command : commandTable()) {
        if (std::find(command.names.begin(), command.names.end(), word) != command.names.end()) {
            return &command;
        }
    }
    return nullptr;
}

} // namespace melta
