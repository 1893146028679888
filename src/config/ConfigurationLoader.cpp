#include "config/ConfigurationLoader.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "config/FileNames.hpp"

namespace melta {

namespace {

void readConfiguration(Property& property, const std::string& propertyFile, bool chargeMode) {
    constexpr bool tolerant = true;
    property.peekData(fileNames::network, tolerant);
    // Without a name of its own a missing file is no surprise; with one the name may be mistyped.
    const bool isSurprising = propertyFile != fileNames::properties && !openForReading(propertyFile);
    property.readProperty(propertyFile, fileNames::behler, chargeMode);
    if (isSurprising) {
        printOut("  * WARNING: the properties file was missing, so that it was written with the defaults: "
                 "%s\n\n",
                 propertyFile.c_str());
    }
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
    const BaselineKind* const kind = baselineKindOf(property);
    return kind != nullptr ? kind->fileName() : fileNames::classical;
}

} // namespace melta
