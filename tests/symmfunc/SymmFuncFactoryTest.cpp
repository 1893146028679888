#include "symmfunc/SymmFuncFactory.hpp"

#include "config/Property.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/SymmFuncChebyshev.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

TEST(SymmFuncFactoryTest, makesChebyshevFunctionsWithTheSettings) {
    Property property;
    property.symmFuncKind = SymmFuncKind::chebyshev;
    property.elemWeight = 0;
    property.numRadius = 7;
    property.numAngle = 5;

    const auto symmFunc = SymmFuncFactory().createSymmFunc(3, property);

    ASSERT_NE(dynamic_cast<SymmFuncChebyshev*>(symmFunc.get()), nullptr);
    EXPECT_EQ(symmFunc->getNumBasis(), 3 * 7 + 6 * 5);
}

TEST(SymmFuncFactoryTest, weightedFunctionsDoNotCountElements) {
    Property property;
    property.elemWeight = 1;
    property.numRadius = 7;
    property.numAngle = 5;

    EXPECT_EQ(SymmFuncFactory().createSymmFunc(1, property)->getNumBasis(), 12);
    EXPECT_EQ(SymmFuncFactory().createSymmFunc(9, property)->getNumBasis(), 12);
}

TEST(SymmFuncFactoryTest, unknownKindsGiveNothing) {
    Property property;
    for (const int kind : {0, 4, -1, 99}) {
        property.symmFuncKind = kind;

        EXPECT_EQ(SymmFuncFactory().createSymmFunc(1, property), nullptr) << kind;
    }
}

TEST(SymmFuncFactoryTest, refusesToWorkWithoutElements) {
    const Property property;

    EXPECT_EQ(test::stopMessageOf([&] { (void)SymmFuncFactory().createSymmFunc(0, property); }),
              "#elements is not positive.");
}

} // namespace
} // namespace melta
