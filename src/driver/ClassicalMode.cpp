#include "driver/ClassicalMode.hpp"

#include "base/DirectoryLock.hpp"
#include "base/Interrupt.hpp"
#include "base/StopFile.hpp"
#include "baseline/classical/ClassicalPot.hpp"
#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "structure/GeometrySet.hpp"

namespace melta {

void runClassicalFit(std::span<const std::string> words) {
    const DirectoryLock lock;
    installInterruptHandlers();
    StopFile(fileNames::stopFile).consume(); // left by an earlier run; later ones are meant for this run
    const std::string propertyFile = words.size() >= 2 ? words[1] : fileNames::properties;
    const Property property = loadClassicalConfiguration(propertyFile);
    const bool withCharge = property.withCharge != 0;
    GeometrySet set;
    set.maxForce = property.maxForce;
    set.minEDev = property.minEDev;
    set.maxEDev = property.maxEDev;
    set.minQDev = property.minQDev;
    set.maxQDev = property.maxQDev;
    // The fit is to total energies, whatever the networks will learn.
    set.withHDNNP = true;
    set.regularElem = property.regularElem != 0;
    set.readGeometrySet(fileNames::train, withCharge);
    set.haveReadGeometrySet(&property, withCharge, {}, 1);
    ClassicalPot(&set, &property).optimizeParameters(fileNames::classical, fileNames::stopFile);
}

} // namespace melta
