#include "driver/TestingMode.hpp"

#include "base/ProcessGuard.hpp"
#include "config/ConfigurationLoader.hpp"
#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "driver/RegularElemWord.hpp"
#include "structure/GeometrySet.hpp"
#include "testing/NNTester.hpp"

namespace melta {
void runAccuracyTest(std::span<const std::string> words) {
    requireSingleProcess(words[0]);
    const bool regularElem = readRegularElem(words, 1);
    // What the network file says is all that a test needs; the properties file may have changed since the
    // training.
    Property property;
    property.peekData(fileNames::network, false);
    const bool withCharge = property.withCharge != 0;
    GeometrySet set;
    set.regularElem = regularElem;
    set.readGeometrySet(fileNames::test, withCharge);
    set.haveReadGeometrySet(&property, withCharge, {}, 1);
    NNTester tester(&property, &set);
    tester.setWithBias(words[0] == "--test-with-bias");
    tester.performTesting(fileNames::network, baselineFileOf(property),
                          {fileNames::testTotalEnergy, fileNames::testAtomicEnergy, fileNames::testForce,
                           fileNames::testCharge, fileNames::testStress, fileNames::testWorst});
}

} // namespace melta
