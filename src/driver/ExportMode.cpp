#include "driver/ExportMode.hpp"

#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "modelio/ForceFieldExport.hpp"

namespace melta {

void runExport(std::span<const std::string> /*words*/) {
    constexpr bool tolerant = false;
    Property property;
    property.peekData(fileNames::network, tolerant);
    exportForceField(fileNames::network, baselineFileOf(property), fileNames::forceField, property);
}

} // namespace melta
