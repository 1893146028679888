#include "sampling/NNMetropolis.hpp"

#include "config/FileNames.hpp"
#include "driver/LineReader.hpp"
#include "driver/Reporting.hpp"
#include "sampling/MetropolisReader.hpp"
#include "sampling/MetropolisSummary.hpp"
#include "sampling/MetropolisTemplate.hpp"
#include "structure/GeometrySet.hpp"

namespace melta {

NNMetropolis::NNMetropolis(const Property* settings) : property(settings) {
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
}

void NNMetropolis::writeTemplate(const std::string& metroFile, const std::string& trainFile,
                                 bool overwrite) const {
    if (!overwrite && LineReader(metroFile).isOpen()) {
        return;
    }
    constexpr bool withCharge = false;
    GeometrySet set;
    set.readFirstGeometry(trainFile, withCharge);
    writeMetropolisTemplate(metroFile, input, set);
}

void NNMetropolis::readMetropolisFile(const std::string& metroFile, const std::string& trainFile,
                                      const std::string& gdistFile) {
    constexpr bool overwrite = false;
    writeTemplate(metroFile, trainFile, overwrite);
    MetropolisReader(metroFile, gdistFile, fileNames::metropolisStart).read(input);
    printMetropolisSummary(input);
}

} // namespace melta
