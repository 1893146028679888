#include "driver/MetropolisMode.hpp"

#include "base/DirectoryLock.hpp"
#include "base/Interrupt.hpp"
#include "base/Reporting.hpp"
#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "sampling/NNMetropolis.hpp"

namespace melta {

void runMetropolis(std::span<const std::string> /*words*/) {
    const DirectoryLock lock;
    installInterruptHandlers();
    Property property;
    property.peekData(fileNames::network, false);
    NNMetropolis sampler(&property);
    sampler.readMetropolisFile(fileNames::metropolis, fileNames::train, fileNames::distribution);
    sampler.performMonteCarlo(fileNames::network, baselineFileOf(property), fileNames::distribution);
}

void runMetropolisTemplate(std::span<const std::string> /*words*/) {
    constexpr bool overwrite = true;
    const Property property;
    NNMetropolis(&property).writeTemplate(fileNames::metropolis, fileNames::train, overwrite);
    printOut("\n  * Generate the file: %s.\n\n", fileNames::metropolis);
}

} // namespace melta
