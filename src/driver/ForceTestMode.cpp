#include "driver/ForceTestMode.hpp"

#include "base/FieldScanner.hpp"
#include "base/ProcessGuard.hpp"
#include "base/Reporting.hpp"
#include "baseline/BaselineRemover.hpp"
#include "config/BaselineKind.hpp"
#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/FiniteNumber.hpp"
#include "driver/RegularElemWord.hpp"
#include "structure/GeometrySet.hpp"
#include "testing/NNForceTester.hpp"

namespace melta {
namespace {

float readShift(std::span<const std::string> words) {
    float shift = 1.0e-4f;
    if (words.size() >= 2) {
        FieldScanner scanner(words[1]);
        if (!readFinite(scanner, shift)) {
            stopWithMessage("cannot read the value of the position-shift.");
        }
    }
    return shift;
}

} // namespace

void runForceTest(std::span<const std::string> words) {
    requireSingleProcess(words[0]);
    const float shift = readShift(words);
    const bool regularElem = readRegularElem(words, 2);
    Property property;
    property.peekData(fileNames::network, false);
    const bool withCharge = property.withCharge != 0;
    GeometrySet set;
    if (const BaselineKind* const kind = baselineKindOf(property)) {
        kind->mark(set);
    }
    set.regularElem = regularElem;
    set.readFirstGeometry(fileNames::test, withCharge);
    set.haveReadGeometrySet(&property, withCharge, makeBaselineRemoval(baselineFileOf(property)), 2);
    NNForceTester(&property, &set).performTesting(fileNames::network, shift);
}

} // namespace melta
