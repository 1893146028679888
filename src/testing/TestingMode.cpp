#include "testing/TestingMode.hpp"

#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "driver/FieldScanner.hpp"
#include "driver/ProcessGuard.hpp"
#include "driver/Reporting.hpp"
#include "structure/GeometrySet.hpp"
#include "testing/NNTester.hpp"

namespace melta {
namespace {

bool readRegularElem(std::span<const std::string> words) {
    int value = 1;
    if (words.size() >= 2 && !FieldScanner(words[1]).readInt(value)) {
        stopWithMessage("cannot read the value of the regularElem.");
    }
    return value != 0;
}

// Parts of a model that cannot be computed must not be left out of its test silently.
void requireTestableModel(const Property& property) {
    requireNoBaseline(property.withClassical != 0, property.withReaxFF != 0, baselineFileOf(property));
    if (property.withCharge != 0) {
        stopWithMessage("charge networks are not available: %s", fileNames::network);
    }
}

} // namespace

void runAccuracyTest(std::span<const std::string> words) {
    requireSingleProcess(words[0]);
    const bool regularElem = readRegularElem(words);
    // What the network file says is all that a test needs; the properties file may have changed since the
    // training.
    Property property;
    property.peekData(fileNames::network, false);
    requireTestableModel(property);
    constexpr bool withCharge = false;
    GeometrySet set;
    set.regularElem = regularElem;
    set.readGeometrySet(fileNames::test, withCharge);
    set.haveReadGeometrySet(&property, withCharge, "", 1);
    NNTester tester(&property, &set);
    tester.setWithBias(words[0] == "--test-with-bias");
    tester.performTesting(fileNames::network,
                          {fileNames::testTotalEnergy, fileNames::testAtomicEnergy, fileNames::testForce});
}

} // namespace melta
