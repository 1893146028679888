#include "driver/CommandTable.hpp"

#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "driver/Reporting.hpp"
#include "driver/StopFile.hpp"
#include "testing/TestingMode.hpp"
#include "training/TrainingMode.hpp"

#include <algorithm>

namespace melta {
namespace {

// The training runs in another process, which finds the file at its next poll.
void runStop(std::span<const std::string> /*words*/) {
    StopFile(fileNames::stopFile).create();
    printOut("\n  * Training neural network will be stopped.\n\n");
}

void runTemplate(std::span<const std::string> /*words*/) {
    constexpr bool chargeMode = false;
    constexpr bool overwrite = true;
    const Property property;
    property.writeTemplate(fileNames::properties, chargeMode, overwrite);
    printOut("\n  * Generate the file: %s.\n\n", fileNames::properties);
}

} // namespace

std::span<const Command> commandTable() {
    static const std::vector<Command> table = {
        {{"--train", "--train-energy"}, runEnergyTraining, Threading::parallel},
        {{"--stop", "--stop-training"}, runStop, Threading::serial},
        {{"--test", "--test-with-bias", "--test-without-bias"}, runAccuracyTest, Threading::parallel},
        {{"--temp", "--template"}, runTemplate, Threading::serial},
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
