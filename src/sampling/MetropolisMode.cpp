#include "sampling/MetropolisMode.hpp"

#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "driver/Reporting.hpp"
#include "sampling/NNMetropolis.hpp"

namespace melta {

void runMetropolisTemplate(std::span<const std::string> /*words*/) {
    constexpr bool overwrite = true;
    const Property property;
    NNMetropolis(&property).writeTemplate(fileNames::metropolis, fileNames::train, overwrite);
    printOut("\n  * Generate the file: %s.\n\n", fileNames::metropolis);
}

} // namespace melta
