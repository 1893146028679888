#include "config/ConfigurationLoader.hpp"

#include "config/FileNames.hpp"

namespace melta {

namespace {

void readConfiguration(Property& property, const std::string& propertyFile, bool chargeMode) {
    constexpr bool tolerant = true;
    property.peekData(fileNames::network, tolerant);
    property.readProperty(propertyFile, fileNames::behler, chargeMode);
}

} // namespace

Property loadConfiguration(const std::string& propertyFile, bool chargeMode) {
    Property property;
    readConfiguration(property, propertyFile, chargeMode);
    return property;
}

Property loadClassicalConfiguration(const std::string& propertyFile) {
    constexpr bool withForcedLbfgs = true;
    constexpr bool chargeMode = false;
    Property property(withForcedLbfgs);
    readConfiguration(property, propertyFile, chargeMode);
    return property;
}

std::string baselineFileOf(const Property& property) {
    return property.withReaxFF != 0 ? fileNames::reaxFF : fileNames::classical;
}

} // namespace melta
