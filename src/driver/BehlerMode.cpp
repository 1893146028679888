#include "driver/BehlerMode.hpp"

#include "base/Reporting.hpp"
#include "config/FileNames.hpp"
#include "symmfunc/behler/BehlerDialogue.hpp"

namespace melta {

void runBehler(std::span<const std::string> /*words*/) {
    askForBehlerFile(fileNames::behler);
    printOut("\n  * Generate the file: %s.\n\n", fileNames::behler);
}

} // namespace melta
