#include "config/ConfigurationLoader.hpp"

#include "config/FileNames.hpp"

namespace melta {

Property loadConfiguration(const std::string& propertyFile, bool chargeMode) {
    constexpr bool tolerant = true;
    Property property;
    property.peekData(fileNames::network, tolerant);
    property.readProperty(propertyFile, fileNames::behler, chargeMode);
    return property;
}

std::string baselineFileOf(const Property& property) {
    return property.withReaxFF != 0 ? fileNames::reaxFF : fileNames::classical;
}

} // namespace melta
